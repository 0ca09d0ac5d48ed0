#pragma once

#include <optional>

#include "recording/RecordingBitDepth.h"

namespace sonmere {

// What the files of one take have in common, besides folder and stamp.
struct TakeFileOptions {
  std::optional<RecordingBitDepth> depth = std::nullopt;  // of WAV; none: that of the settings
  double mostSeconds = 0;                                 // what comes behind is left out; 0: nothing is
  double partSeconds = 0;  // a file's length before the next one takes over; 0: all is one
};

}  // namespace sonmere
