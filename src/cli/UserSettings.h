#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "cli/WarningLog.h"
#include "editor/export/ExportFormat.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// Those of the user's settings that commands on files go by. Main thread.
struct UserSettings {
  ExportFormat exportFormat;
  RecordingBitDepth bitDepth = RecordingBitDepth::int16;
  std::string recordingsFolder;            // the default one while the chosen one can't be used
  std::optional<std::string> unavailable;  // the text for the user in that case

  // Fails when there is a settings file that can't be read. `warn` is told when it was damaged, and set
  // aside.
  static Outcome<UserSettings> read(const WarningLog::Warn& warn);
};

}  // namespace sonmere
