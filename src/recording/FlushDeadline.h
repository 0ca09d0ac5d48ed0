#pragma once

#include <algorithm>
#include <mutex>
#include <optional>

#include "base/Time.h"

namespace sonmere {

// The instant by which a program that quits wants all files flushed; one per application, shared by its
// sinks. Times are uptimes. Threads: any but a render thread.
class FlushDeadline {
 public:
  // How long a quit waits for the recordings.
  static constexpr Duration kQuitTime = fromMilliseconds(6500);
  // What a flush gets even when the deadline has passed.
  static constexpr Duration kShortestWait = fromMilliseconds(200);

  // Binds the flushes that are waiting too.
  void set(Duration uptime) {
    const std::lock_guard lock(mutex_);
    deadline_ = uptime;
  }
  // When a flush that began at `start` gives up.
  Duration limit(Duration start, Duration timeout) const {
    const std::lock_guard lock(mutex_);
    if (!deadline_) return start + timeout;
    return std::max(start + kShortestWait, std::min(start + timeout, *deadline_));
  }

 private:
  mutable std::mutex mutex_;
  std::optional<Duration> deadline_;
};

}  // namespace sonmere
