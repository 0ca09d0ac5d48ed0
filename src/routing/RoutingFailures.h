#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Observable.h"

namespace sonmere {

// What the user is told of until its reason ends: one message for each app or bus. The latest is shown. Main
// thread.
class RoutingFailures {
 public:
  OwnedObservable<std::optional<std::string>, RoutingFailures> shown;

  static std::string ofApp(const std::string& bundleID) { return "app " + bundleID; }
  static std::string ofBus(int bus) { return "bus " + std::to_string(bus); }

  void tell(const std::string& about, std::string message) {
    remove([&](const auto& failure) { return failure.first == about; });
    failures_.emplace_back(about, message);
    shown.set(std::move(message));
  }
  // The reason has ended.
  void end(const std::string& about) {
    endWhere([&](const std::string& each) { return each == about; });
  }
  template <class Predicate>
  void endWhere(Predicate&& hasEnded) {
    if (!remove([&](const auto& failure) { return hasEnded(failure.first); })) return;
    const auto latest =
        failures_.empty() ? std::nullopt : std::optional<std::string>(failures_.back().second);
    if (latest != *shown) shown.set(latest);
  }

 private:
  template <class Predicate>
  bool remove(Predicate&& predicate) {
    return std::erase_if(failures_, predicate) > 0;
  }

  std::vector<std::pair<std::string, std::string>> failures_;  // about what, and the message; oldest first
};

}  // namespace sonmere
