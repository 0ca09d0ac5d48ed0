#pragma once

#include <cstdint>

#include "base/RealtimeScope.h"

namespace sonmere {

// Whether the cycles of one callback follow each other, as far as it can see itself. Render thread.
class CycleWatch {
 public:
  // True for the first cycle, after cycles that were missed, and when the quantum is another one; a
  // resampling server's blocks may differ by a few frames. `hostTime` in ns.
  bool isInterrupted(std::uint64_t hostTime, std::uint32_t frames,
                     double sampleRate) noexcept SONMERE_NONBLOCKING {
    const double expected = frames_ / sampleRate * 1e9;  // ns
    const bool isLate = double(hostTime - hostTime_) > kLateness * expected;
    const bool isOtherSize = frames < kSameSize * frames_ || frames_ < kSameSize * frames;
    const double gap = double(hostTime - hostTime_) - expected;  // ns
    missedFrames_ = isLate && frames_ > 0 ? std::int64_t(gap * sampleRate / 1e9 + 0.5) : 0;
    hostTime_ = hostTime;
    frames_ = frames;
    return isLate || isOtherSize;
  }
  // Between this cycle and the one before: what the server has left out.
  std::int64_t missedFrames() const noexcept SONMERE_NONBLOCKING { return missedFrames_; }

 private:
  static constexpr double kLateness = 1.5;  // of a cycle
  static constexpr double kSameSize = 0.97;

  std::uint64_t hostTime_ = 0;
  std::uint32_t frames_ = 0;  // 0: none yet
  std::int64_t missedFrames_ = 0;
};

}  // namespace sonmere
