#include "cli/UserSettings.h"

#include "app/FileSettingsStore.h"
#include "app/PlatformFolders.h"
#include "base/VirtualRuntime.h"
#include "recording/RecordingsFolder.h"

namespace sonmere {

Outcome<UserSettings> UserSettings::read() {
  VirtualRuntime runtime(1);  // no thread: nothing is written
  Log log;
  const FileSettingsStore store(runtime, log, defaultSettingsPath());
  if (const auto& error = store.loadError()) return std::unexpected(*error);
  const auto chosen = store.string(RecordingsFolder::kPathKey);
  const bool isChosen = chosen && isFolderUsable(*chosen);
  return UserSettings{sonmere::exportFormat(store), recordingBitDepth(store),
                      isChosen ? *chosen : userFolders().defaultRecordings};
}

}  // namespace sonmere
