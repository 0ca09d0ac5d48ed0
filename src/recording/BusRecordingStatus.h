#pragma once

#include <cstdint>
#include <string>

#include "base/Time.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// One running recording as it is shown; the counters follow every half second.
struct BusRecordingStatus {
  int busIndex = 0;
  std::string path;
  RecordingFormat format = RecordingFormat::wav;
  Date startedAt{};
  std::int64_t bytesWritten = 0;
  std::int64_t framesWritten = 0;
  std::int64_t lostFrames = 0;  // that the file lacks: overwritten, or never rendered
  float lastPeak = 0;           // of the latest block, linear
  bool everHadSignal = false;
  int part = 1;  // of a recording in parts, the one that is written

  bool operator==(const BusRecordingStatus&) const = default;
};

}  // namespace sonmere
