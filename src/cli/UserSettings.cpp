#include "cli/UserSettings.h"

#include "app/FileSettingsStore.h"
#include "app/PlatformFolders.h"
#include "base/VirtualRuntime.h"
#include "recording/RecordingsFolder.h"
#include "recording/RecordingsFolderState.h"

namespace sonmere {

Outcome<UserSettings> UserSettings::read(const WarningLog::Warn& warn) {
  VirtualRuntime runtime(1);  // no thread: nothing is written
  WarningLog log(warn);
  const FileSettingsStore store(runtime, log, defaultSettingsPath());
  if (const auto& error = store.loadError()) return std::unexpected(*error);
  const auto chosen = store.string(RecordingsFolder::kPathKey);
  UserSettings settings{sonmere::exportFormat(store), recordingBitDepth(store),
                        userFolders().defaultRecordings, std::nullopt};
  if (!chosen || chosen->empty()) return settings;
  if (isFolderUsable(*chosen))
    settings.recordingsFolder = *chosen;
  else
    settings.unavailable = recordingsFolderUnavailableText(settings.recordingsFolder);
  return settings;
}

}  // namespace sonmere
