#pragma once

#include <memory>

#include "dsp/RecorderRing.h"

namespace sonmere {

// The render side of bus recordings, as the recordings see it. Main thread.
class RecorderFeed {
 public:
  virtual ~RecorderFeed() = default;
  // From its next block on the bus's render path fills this ring, or none when null. A block under way may
  // still write into the old ring: whoever publishes keeps it alive until that block is over.
  virtual void setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring) = 0;
  // Hz; that of the bus's output, else of the bridge; 0 when neither is known.
  virtual double busSampleRate(int bus) const = 0;
};

}  // namespace sonmere
