#pragma once

#include <cstdint>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// What the positions of a clock say of one callback: frames of cycles that it was not given.
class ClockGaps {
 public:
  // A block begins at `position`, in frames. A clock that goes back was started anew. The callback.
  void note(double position, std::uint32_t frames) noexcept SONMERE_NONBLOCKING {
    const double gap = position - next_;
    if (isKnown_ && gap >= 1) frames_.add(std::int64_t(gap + 0.5));
    next_ = position + frames;
    isKnown_ = true;
  }
  // A cycle of unknown length: nothing is told of the way to the next. The callback.
  void skip() noexcept SONMERE_NONBLOCKING { isKnown_ = false; }
  // Threads: any.
  std::int64_t frames() const noexcept { return frames_; }

 private:
  RTScalar<std::int64_t> frames_;
  // The callback.
  double next_ = 0;
  bool isKnown_ = false;
};

}  // namespace sonmere
