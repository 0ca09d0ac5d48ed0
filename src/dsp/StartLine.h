#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// From when on what is captured counts, the same for all recorders of a take: so their files begin at one
// instant, whatever the phase of their devices' cycles. The main thread sets it once all of them are fed.
struct StartLine {
  RTScalar<std::uint64_t> hostTime{0};  // ns on the server's host clock; 0: not yet
};

// One recorder's way over the line. One thread at a time.
class StartGate {
 public:
  // Null: all counts.
  std::shared_ptr<const StartLine> line;

  // How many of a block's frames lie before the line, the first of them being of this time; 0 from the first
  // that lies behind it on. Render thread.
  std::int64_t framesBefore(std::uint64_t time, double rate,
                            std::int64_t frames) noexcept SONMERE_NONBLOCKING {
    if (!line || hasBegun_) return 0;
    const std::uint64_t start = line->hostTime;
    if (start == 0) return frames;
    const double before = time == 0 ? 0 : double(std::int64_t(start - time)) * 1e-9 * rate;
    const auto skipped = std::clamp<std::int64_t>(std::llround(before), 0, frames);
    skipped_ += skipped;
    // A clock that is not the server's holds nothing up for long.
    hasBegun_ = skipped < frames || double(skipped_) > rate;
    return skipped;
  }

 private:
  bool hasBegun_ = false;
  std::int64_t skipped_ = 0;
};

}  // namespace sonmere
