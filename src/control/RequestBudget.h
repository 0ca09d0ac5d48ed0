#pragma once

#include <algorithm>

#include "base/Time.h"

namespace sonmere {

// What one client may ask for: a burst of requests, and then so many a second. Bytes cost too, so that
// neither long lines nor empty or broken ones come for nothing. Times are uptimes.
class RequestBudget {
 public:
  static constexpr double kBurst = 200;
  static constexpr double kPerSecond = 100;
  static constexpr double kBytesPerRequest = 4096;  // bytes that cost as much as a request

  // Whether a request may be carried out now, or anything be read.
  bool isLeft(Duration now) {
    left_ = std::min(kBurst, left_ + toSeconds(now - last_) * kPerSecond);
    last_ = now;
    return left_ >= 1;
  }
  void spendRequest() { left_ -= 1; }
  void spendBytes(std::size_t bytes) { left_ -= double(bytes) / kBytesPerRequest; }
  // How long after the last was spent to ask again.
  static constexpr Duration kPause = fromMilliseconds(50);

 private:
  double left_ = kBurst;
  Duration last_{0};
};

}  // namespace sonmere
