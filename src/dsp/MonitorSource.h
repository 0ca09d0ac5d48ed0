#pragma once

#include <memory>

#include "base/RTScalar.h"
#include "dsp/StereoRing.h"

namespace sonmere {

// What a monitor may hear of one place: a ring that its render fills while it is switched on.
class MonitorSource {
 public:
  // Main thread. The ring is made when it is first wanted, and stays for as long as this.
  void setEnabled(bool isWanted) {
    if (isWanted && !owner_) {
      owner_ = std::make_unique<StereoRing>();
      ring_.store(owner_.get());
    }
    // What is left from before is not heard again.
    if (isWanted && !isEnabled_) owner_->requests.startLive = true;
    isEnabled_ = isWanted;
  }

  // Threads: any.
  bool isEnabled() const noexcept SONMERE_NONBLOCKING { return isEnabled_; }
  // Linear: how loud the monitor plays it, beside what its writer has done to it. The main thread writes.
  RTScalar<float> gain{1.0f};
  // Null until it was first wanted.
  StereoRing* ring() const noexcept SONMERE_NONBLOCKING { return ring_.load(); }

 private:
  RTScalar<bool> isEnabled_{false};
  RTPointer<StereoRing> ring_;
  std::unique_ptr<StereoRing> owner_;
};

}  // namespace sonmere
