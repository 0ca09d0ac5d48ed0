#pragma once

#include <functional>

#include "base/Observable.h"

namespace sonmere {

// Sleep, wake and the end of the session. Observers run on the main queue.
class PowerEvents {
 public:
  virtual ~PowerEvents() = default;
  // Whether the platform reports sleep and wake at all.
  virtual bool isAvailable() const = 0;
  [[nodiscard]] virtual Subscription observeWillSleep(std::function<void()> observer) = 0;
  [[nodiscard]] virtual Subscription observeDidWake(std::function<void()> observer) = 0;
  [[nodiscard]] virtual Subscription observeWillTerminate(std::function<void()> observer) = 0;
};

}  // namespace sonmere
