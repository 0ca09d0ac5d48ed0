#include "ui/widgets/MeterBallistics.h"

#include <algorithm>

namespace sonmere {

void MeterBallistics::tell(std::optional<double> levelDb, double seconds) {
  if (!levelDb) {
    *this = {};
    lastTime_ = seconds;
    return;
  }
  const double level = std::clamp(*levelDb, kFloorDb, 6.0);
  bar_ = std::max(level, bar_ - kFallDbPerSecond * (seconds - lastTime_));
  if (level >= peak_) {
    peak_ = level;
    peakTime_ = seconds;
  } else if (seconds - peakTime_ > kHoldSeconds) {
    const double falling = seconds - std::max(peakTime_ + kHoldSeconds, lastTime_);
    peak_ = std::max(bar_, peak_ - kFallDbPerSecond * falling);
  }
  lastTime_ = seconds;
}

}  // namespace sonmere
