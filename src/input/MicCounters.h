#pragma once

#include <cstdint>

#include "base/RTScalar.h"

namespace sonmere {

// What the mic's two callbacks have done since the last start. Each callback writes its own; displays may be
// a little stale.
struct MicCounters {
  static constexpr std::uint32_t kNoBus = 999;

  // The capture.
  RTScalar<std::int64_t> inputCallbacks, goodRenders, oversizeBlocks;
  RTScalar<std::int64_t> writeCount, overflows;
  RTScalar<std::int32_t> lastRenderError;
  RTScalar<std::uint32_t> firstBus{kNoBus}, firstFrames, lastFrames;
  RTScalar<std::int64_t> lastWriteBytes;
  RTScalar<std::uint64_t> lastWriteHostTime;  // ns

  // The bridge's output.
  RTScalar<std::int64_t> outputRenders, lastSeenWriteCount, reads, starves, underruns, skippedBytes;
  RTScalar<std::int64_t> lastReadBytes, backlogBytes, peakBacklogBytes;
  RTScalar<double> driftPpm;  // that is followed; 0 while none is

  // Main thread, while no callback runs.
  void clear() { *this = MicCounters(); }
};

}  // namespace sonmere
