#pragma once

#include <cstdint>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// Counters beside a ring, in samples, written by its reader; a stale view costs a display its accuracy.
struct RingProbe {
  RTScalar<std::int64_t> reads;   // successful reads since the path started
  RTScalar<std::int64_t> misses;  // reads that found too little, not counting the wait for the first audio
  RTScalar<std::int64_t> lastBacklog;  // left in the ring after the latest read
  RTScalar<std::int64_t> maxBacklog;
  RTScalar<std::int64_t> lastRead;

  void noteMiss() noexcept SONMERE_NONBLOCKING {
    if (reads > 0) misses.add(1);
  }
  void noteRead(std::int64_t samples, std::int64_t left) noexcept SONMERE_NONBLOCKING {
    reads.add(1);
    lastRead = samples;
    lastBacklog = left;
    maxBacklog.raiseTo(left);
  }
};

}  // namespace sonmere
