#pragma once

#include <cstdint>

#include "base/Time.h"

namespace sonmere {

// When what a file holds was heard. Files of one session bear one instant, each in its own samples, so that
// an editor lays them on one line.
struct AudioFileOrigin {
  Date date{};                             // of the first sample
  std::uint64_t samplesSinceMidnight = 0;  // of the day on which the session began, in local time

  // Of the frame that comes so many later.
  AudioFileOrigin later(std::int64_t frames, double sampleRate) const {
    return {date + fromSeconds(double(frames) / sampleRate), samplesSinceMidnight + std::uint64_t(frames)};
  }
};

// `sampleRate` in Hz. Threads: any but a render thread.
AudioFileOrigin audioFileOrigin(Date date, double sampleRate);

}  // namespace sonmere
