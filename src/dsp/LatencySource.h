#pragma once

#include <vector>

#include "dsp/RingReport.h"

namespace sonmere {

// An engine whose internal buffers appear in the latency report. Main thread.
class LatencySource {
 public:
  virtual ~LatencySource() = default;
  // The rows of all paths that exist now, in the order in which they are shown.
  virtual std::vector<RingReport> latencyRings() const = 0;
};

}  // namespace sonmere
