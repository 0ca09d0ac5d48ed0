#pragma once

#include "base/Error.h"
#include "editor/ExportFormat.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// Those of the user's settings that commands on files go by. Main thread.
struct UserSettings {
  ExportFormat exportFormat;
  RecordingBitDepth bitDepth = RecordingBitDepth::int16;
  std::string recordingsFolder;

  // Reads the settings file and changes nothing; fails when there is one that can't be read.
  static Outcome<UserSettings> read();
};

}  // namespace sonmere
