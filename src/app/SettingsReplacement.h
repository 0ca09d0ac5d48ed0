#pragma once

#include <filesystem>
#include <optional>

#include "app/SettingsFile.h"
#include "app/SettingsPart.h"
#include "base/Time.h"

namespace sonmere {

// What takes the place of a part of the settings: all of that part goes, these values come.
struct SettingsReplacement {
  SettingsPart part = SettingsPart::portable;
  SettingsFile::Values values;
};

// How many old states are kept beside the file, the newest ones.
inline constexpr std::size_t kMostSettingsBackups = 10;

// Replaces in the file at `path` at one stroke, once its present state is kept beside it as
// "NAME.backup-YYYYMMDD-HHMMSS". Answers where; nothing where there was nothing to keep. Whoever has loaded
// the file does not see it, and writes over it: only while no program runs with these settings.
Outcome<std::optional<std::filesystem::path>> replaceSettings(Log& log, const std::filesystem::path& path,
                                                              const SettingsReplacement& replacement,
                                                              Date now);

// Has the next program that starts with these settings do that, before it reads them.
Outcome<void> replaceSettingsAtNextStart(const std::filesystem::path& path,
                                         const SettingsReplacement& replacement);
// Does what the last program left to this one. What can't be done is kept for the next start, and logged.
void takeUpReplacement(Log& log, const std::filesystem::path& path, Date now);

// The old states, the oldest first.
std::vector<std::filesystem::path> settingsBackups(const std::filesystem::path& path);

}  // namespace sonmere
