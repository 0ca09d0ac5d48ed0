#include "base/NotificationCenter.h"

#include "base/ThreadRules.h"

namespace sonmere {

Subscription NotificationCenter::observe(std::string_view name, Observer observer) {
  assertMain();
  auto active = std::make_shared<std::atomic<bool>>(true);
  observers_[std::string(name)].push_back({active, std::make_shared<Observer>(std::move(observer))});
  return Subscription(active);
}

void NotificationCenter::post(std::string_view name, const NotificationInfo& info) {
  assertMain();
  const auto found = observers_.find(name);
  if (found == observers_.end()) return;
  std::erase_if(found->second, [](const Entry& e) { return !*e.active; });
  const auto copy = found->second;
  for (const Entry& entry : copy)
    if (*entry.active) (*entry.call)(info);
}

}  // namespace sonmere
