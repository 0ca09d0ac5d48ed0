#pragma once

#include "base/Error.h"

namespace sonmere {

// What a sink refuses by itself.
struct SinkError {
  static constexpr const char* kDomain = "AudioFileSink";
  static constexpr std::int64_t kQueueFullCode = 1;

  // More than 30 seconds of audio wait for the drive.
  static Error queueFull() {
    return {kDomain, kQueueFullCode, "The recording drive did not keep up; audio was dropped."};
  }
};

}  // namespace sonmere
