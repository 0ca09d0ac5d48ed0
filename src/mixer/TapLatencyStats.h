#pragma once

#include <cstdint>
#include <string>

namespace sonmere {

// How one app's ring has fared since its tap was built. Sizes are in samples, two to a frame.
struct TapLatencyStats {
  std::string bundleID;
  std::int64_t backlogSamples = 0;  // left after the latest read: the tap's added delay
  std::int64_t maxBacklogSamples = 0;
  std::int64_t underruns = 0;  // the app delivered, but too slowly or in larger bursts than were pulled
  std::int64_t starves = 0;    // the app delivered nothing
  std::int64_t overflows = 0;  // the output stopped or fell a whole ring behind
  std::int64_t reads = 0;
  std::int64_t writeSamples = 0;  // size of the latest write
  std::int64_t readSamples = 0;   // size of the latest requested read

  bool operator==(const TapLatencyStats&) const = default;
};

}  // namespace sonmere
