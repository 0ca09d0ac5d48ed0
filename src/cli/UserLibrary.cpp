#include "cli/UserLibrary.h"

#include <random>

#include "app/PlatformFolders.h"
#include "driver/TrackNamesStore.h"

namespace sonmere {

// The seed names files for a moment, which those of another command at work must not share.
UserLibrary::UserLibrary(const WarningLog::Warn& warn)
    : runtime_(std::random_device{}()),
      log_([this, warn](const std::string& line) {
        if (!isOpen_) warn(line);
      }),
      settings_(runtime_, log_, defaultSettingsPath()),
      library_({runtime_, log_, settings_, notifications_, userFolders(), nullptr, nullptr}) {}

Outcome<std::unique_ptr<UserLibrary>> UserLibrary::open(const WarningLog::Warn& warn) {
  std::unique_ptr<UserLibrary> user(new UserLibrary(warn));
  user->isOpen_ = true;
  if (const auto& error = user->settings_.loadError()) return std::unexpected(*error);
  return user;
}

TrackNames UserLibrary::trackNames() { return *TrackNamesStore(settings_).trackNames; }

}  // namespace sonmere
