#pragma once

#include <chrono>
#include <set>
#include <string>
#include <string_view>

#include "base/Time.h"

namespace sonmere {

// Apps that are going to be captured as soon as they play, by the bundle identifiers of their processes; or
// (with `exclusive`) all but these.
struct CaptureExpectation {
  std::set<std::string, std::less<>> bundleIDs;
  bool exclusive = false;

  bool isEmpty() const { return bundleIDs.empty() && !exclusive; }
  bool covers(std::string_view bundleID) const { return bundleIDs.contains(bundleID) != exclusive; }
  bool operator==(const CaptureExpectation&) const = default;
};

// How long an app stands still at most that is expected to be captured.
constexpr Duration kLongestCaptureWait = std::chrono::seconds(2);

}  // namespace sonmere
