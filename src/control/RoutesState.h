#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// A route as it stands.
struct RouteRow {
  std::string id;
  std::string name;
  std::string verdict;  // "healthy", "degraded", "broken" or "inactive"
  std::string detail;   // may be empty
  std::string advice;   // what the user can do; may be empty
};

struct RoutesReset {
  std::vector<std::string> droppedStaleMembers;
  int sweptAggregates = 0;
  bool rebuiltSystemAudio = false;
  bool rebuiltDAWDevice = false;
  std::string finishedAt;  // ISO 8601
};

// All routes, and what was last done for them.
struct RoutesState {
  std::vector<RouteRow> routes;
  std::string worst;  // a verdict: broken before degraded; healthy, too, where nothing is switched on
  bool isResetting = false;
  std::optional<std::string> lastCheck;  // ISO 8601
  std::optional<RoutesReset> lastReset;
};

}  // namespace sonmere
