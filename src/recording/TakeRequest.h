#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// What one act of recording asks for; what it leaves out is as in the settings.
struct TakeRequest {
  std::optional<RecordingFormat> format = std::nullopt;
  std::optional<RecordingBitDepth> depth = std::nullopt;  // of WAV
  std::optional<std::string> folder = std::nullopt;       // a full path; made where missing
  double mostSeconds = 0;                                 // length at which it ends; 0: none
  std::uint64_t mostBytes = 0;                            // of all its files; 0: none
  // Of what was heard before; none: as much as is kept.
  std::optional<double> prerollSeconds = std::nullopt;
  double partSeconds = 0;  // a file's length before the next one takes over; 0: all is one
};

}  // namespace sonmere
