#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/Observable.h"

namespace sonmere {

using NotificationInfo = std::map<std::string, std::string>;

// Named notifications between engines that do not know each other. Observers run synchronously, in the
// order of their registration. Main thread only.
class NotificationCenter {
 public:
  using Observer = std::function<void(const NotificationInfo&)>;

  [[nodiscard]] Subscription observe(std::string_view name, Observer observer);
  void post(std::string_view name, const NotificationInfo& info = {});

 private:
  struct Entry {
    std::shared_ptr<std::atomic<bool>> active;
    std::shared_ptr<Observer> call;
  };
  std::map<std::string, std::vector<Entry>, std::less<>> observers_;
};

}  // namespace sonmere
