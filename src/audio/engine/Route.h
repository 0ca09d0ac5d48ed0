#pragma once

#include <string>

namespace sonmere {

// Why a route is looked at anew.
enum class RevalidationReason { wake, deviceChange, serviceRestart };

enum class RouteHealthVerdict { healthy, degraded, broken, inactive };

constexpr const char* verdictText(RouteHealthVerdict verdict) {
  switch (verdict) {
    case RouteHealthVerdict::healthy:
      return "healthy";
    case RouteHealthVerdict::degraded:
      return "degraded";
    case RouteHealthVerdict::broken:
      return "broken";
    case RouteHealthVerdict::inactive:
      return "inactive";
  }
  return "";
}

// How one route fares.
struct RouteHealthEntry {
  std::string id;
  std::string name;
  RouteHealthVerdict verdict = RouteHealthVerdict::inactive;
  std::string detail;  // for the user; may be empty

  bool operator==(const RouteHealthEntry&) const = default;
};

// Audio that an engine leads from one place to another, and that sleep, devices and the server itself may
// break. Main thread.
class Route {
 public:
  virtual ~Route() = default;

  // The server came back with every object gone; `revalidate` follows once it had time to publish them anew.
  virtual void serverLost() = 0;
  // The machine goes to sleep; `revalidate` follows some time after the wake. What came before the sleep is
  // not waited for any more.
  virtual void suspend() {}
  // Whether it stands as it is wished for; what it can it mends.
  virtual void revalidate(RevalidationReason reason) = 0;
  virtual RouteHealthEntry health() const = 0;
};

}  // namespace sonmere
