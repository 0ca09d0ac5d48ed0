#pragma once

#include <string>

#include "audio/engine/ResetRoutingResult.h"

namespace sonmere {

// Why a route is looked at anew. `manual`: the user asks for it.
enum class RevalidationReason { wake, deviceChange, manual, serviceRestart };

constexpr const char* reasonText(RevalidationReason reason) {
  switch (reason) {
    case RevalidationReason::wake:
      return "wake";
    case RevalidationReason::deviceChange:
      return "deviceChange";
    case RevalidationReason::manual:
      return "manual";
    case RevalidationReason::serviceRestart:
      return "serviceRestart";
  }
  return "";
}

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
  // One pass of the recovery, once everything has come to rest: what is missing is asked for again. The entry
  // tells what was found.
  virtual RouteHealthEntry check(RevalidationReason) { return health(); }
  // The user's "Reset Routing": made anew from the ground, with whatever it had used up of its attempts.
  virtual void reset(ResetRoutingResult&) { revalidate(RevalidationReason::manual); }
};

}  // namespace sonmere
