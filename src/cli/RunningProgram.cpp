#include "cli/RunningProgram.h"

#include "app/FileSettingsStore.h"
#include "app/PlatformFolders.h"

namespace sonmere {

std::optional<ControlClient> programWithTheseSettings() {
  auto client = ControlClient::connect(userControlFolder());
  if (!client || client->greeting().value("settings", "") != defaultSettingsPath().string())
    return std::nullopt;
  return std::move(*client);
}

}  // namespace sonmere
