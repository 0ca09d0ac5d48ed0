#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "base/RealtimeScope.h"

namespace sonmere {

// What a trim leaves in a ring beyond the block that is read next, in samples.
constexpr std::int64_t kTrimReserveSamples = 256;

// Finds out what an interruption of a ring's path has left in the ring for good: another quantum, cycles that
// were missed, audio that came late. What stays unused for a whole window is delay and nothing else. Without
// an interruption it asks for nothing, so that two clocks may drift apart. The ring's reader only.
class BacklogWatch {
 public:
  // Something has disturbed the path.
  void noteInterruption() noexcept SONMERE_NONBLOCKING {
    if (remaining_ > 0)
      mustGoOn_ = true;
    else
      begin();
  }
  // After each attempt to read n samples, which left `left` (below 0: it failed): how many samples, in whole
  // frames, are to be skipped now.
  std::int64_t surplus(std::int64_t left, std::int64_t n, double sampleRate) noexcept SONMERE_NONBLOCKING {
    if (left < 0) noteInterruption();
    if (remaining_ <= 0) return 0;
    if (remaining_ == kUnmeasured) remaining_ = std::int64_t(kWindowSeconds * 2 * sampleRate);
    lowest_ = std::min(lowest_, std::max<std::int64_t>(left, 0));
    highest_ = std::max(highest_, left);
    remaining_ -= n;
    return remaining_ > 0 ? 0 : end(n);
  }

 private:
  // Two of them, for a disturbance in the midst of the first, end within 2 s.
  static constexpr double kWindowSeconds = 0.75;
  static constexpr std::int64_t kUnmeasured = std::numeric_limits<std::int64_t>::max();

  void begin() noexcept {
    remaining_ = lowest_ = kUnmeasured;
    highest_ = 0;
  }
  // A quantum more than the reserve is no more than a path may need that has missed a cycle once.
  std::int64_t end(std::int64_t n) noexcept {
    const std::int64_t unused = highest_ > n + kTrimReserveSamples ? lowest_ - kTrimReserveSamples : 0;
    remaining_ = 0;
    if (std::exchange(mustGoOn_, false)) begin();
    return unused > 0 ? unused / 2 * 2 : 0;
  }

  std::int64_t remaining_ = 0;  // samples of the window; 0: not watching
  std::int64_t lowest_ = 0;     // what stayed after each read
  std::int64_t highest_ = 0;
  bool mustGoOn_ = false;
};

}  // namespace sonmere
