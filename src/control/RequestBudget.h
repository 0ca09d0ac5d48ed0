#pragma once

#include <algorithm>

#include "base/Time.h"

namespace sonmere {

// How many requests one client may make: a burst, and then so many a second. Times are uptimes.
class RequestBudget {
 public:
  static constexpr double kBurst = 200;
  static constexpr double kPerSecond = 100;

  // Takes one; false when none is left.
  bool take(Duration now) {
    left_ = std::min(kBurst, left_ + toSeconds(now - last_) * kPerSecond);
    last_ = now;
    if (left_ < 1) return false;
    left_ -= 1;
    return true;
  }
  // What was taken was not used.
  void giveBack() { left_ += 1; }
  // How long after a refusal to ask again.
  static constexpr Duration kPause = fromMilliseconds(50);

 private:
  double left_ = kBurst;
  Duration last_{0};
};

}  // namespace sonmere
