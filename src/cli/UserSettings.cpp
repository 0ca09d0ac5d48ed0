#include "cli/UserSettings.h"

#include "cli/UserLibrary.h"

namespace sonmere {

Outcome<UserSettings> UserSettings::read(const WarningLog::Warn& warn) {
  auto user = UserLibrary::open(warn);
  if (!user) return std::unexpected(user.error());
  const SettingsStore& stored = (*user)->settings();
  const RecordingsLibrary& library = (*user)->library();
  UserSettings settings{sonmere::exportFormat(stored), recordingBitDepth(stored), *library.folderInUse,
                        std::nullopt};
  if (*library.folderUnavailable)
    settings.unavailable = recordingsFolderUnavailableText(library.defaultFolder());
  return settings;
}

}  // namespace sonmere
