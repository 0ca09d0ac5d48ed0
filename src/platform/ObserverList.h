#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "base/Observable.h"
#include "base/Runtime.h"

namespace sonmere {

// Observers of events of the world outside, each told by a task of the main queue. Main thread.
template <class... Arguments>
class ObserverList {
 public:
  explicit ObserverList(Runtime& runtime) : runtime_(runtime) {}

  [[nodiscard]] Subscription add(std::function<void(Arguments...)> observer) {
    auto isActive = std::make_shared<std::atomic<bool>>(true);
    observers_.push_back({isActive, std::move(observer)});
    return Subscription(isActive);
  }
  void post(Arguments... arguments) {
    std::erase_if(observers_, [](const Observer& each) { return !*each.isActive; });
    for (const Observer& each : observers_)
      runtime_.mainQueue().post([each, arguments...] {
        if (*each.isActive) each.call(arguments...);
      });
  }

 private:
  struct Observer {
    std::shared_ptr<std::atomic<bool>> isActive;
    std::function<void(Arguments...)> call;
  };
  Runtime& runtime_;
  std::vector<Observer> observers_;
};

}  // namespace sonmere
