#pragma once

#include <cstdint>
#include <string>

namespace sonmere {

// One running recording.
struct RecordingState {
  int source = 0;  // a bus, or what RecordedSource.h names
  std::string path;
  double seconds = 0;  // since it began
  std::int64_t frames = 0;
  std::int64_t bytes = 0;
  std::int64_t lostFrames = 0;  // that the file lacks: overwritten, or never rendered
  double peakDb = -120;         // of the latest block, dB below full scale; held to -120
  bool isSilent = true;         // no signal since it began
  int part = 1;                 // of a recording in parts, the one that is written
};

}  // namespace sonmere
