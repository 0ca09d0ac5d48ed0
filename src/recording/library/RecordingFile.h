#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recording/RecordingFormat.h"

namespace sonmere {

// One take, as the library shows it.
struct RecordingFile {
  std::string url;          // full path
  std::string displayName;  // what stands in front of the stamp, without a leading "Sonmere "
  RecordingFormat format = RecordingFormat::wav;
  double durationSeconds = 0;  // 0 when the file does not tell
  std::uint64_t fileSize = 0;  // bytes; 0 when it can't be read
  struct Mark {
    double seconds = 0;
    std::string text;  // may be empty
    bool operator==(const Mark&) const = default;
  };
  std::vector<Mark> marks = {};  // in their order
  // Full paths of its later parts; what is said above is of all together.
  std::vector<std::string> parts = {};

  bool operator==(const RecordingFile&) const = default;
};

}  // namespace sonmere
