#include "cli/UserLibrary.h"

#include <random>

#include "app/PlatformFolders.h"

namespace sonmere {

// The seed names files for a moment, which those of another command at work must not share.
UserLibrary::UserLibrary()
    : runtime_(std::random_device{}()),
      settings_(runtime_, log_, defaultSettingsPath()),
      library_({runtime_, log_, settings_, notifications_, userFolders(), nullptr, nullptr}) {}

Outcome<std::unique_ptr<UserLibrary>> UserLibrary::open() {
  std::unique_ptr<UserLibrary> user(new UserLibrary());
  if (const auto& error = user->settings_.loadError()) return std::unexpected(*error);
  return user;
}

}  // namespace sonmere
