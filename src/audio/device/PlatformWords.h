#pragma once

#include <string_view>

namespace sonmere {

// What messages say that holds on one platform only: what it is called, and where its user gives leave.
struct PlatformWords {
  std::string_view tapsNeed;  // what has a server that captures programs
  std::string_view captureDenied, captureRestricted;
  std::string_view microphoneDenied, microphoneRestricted;
  std::string_view whyRateIsForced;  // behind what was done
  std::string_view whyLoginItem;
};

}  // namespace sonmere
