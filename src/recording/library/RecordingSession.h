#pragma once

#include <string>
#include <vector>

#include "base/Time.h"
#include "recording/library/RecordingFile.h"

namespace sonmere {

// The takes that began together: all files of one stamp.
struct RecordingSession {
  std::string timestampString;  // the stamp as it stands in the names, "yyyy-MM-dd HH-mm-ss"
  Date timestamp{};             // the stamp read back in local time; the earliest date when it can't be
  std::vector<RecordingFile> files;

  bool operator==(const RecordingSession&) const = default;
};

}  // namespace sonmere
