#pragma once

#include "audio/engine/CaptureTap.h"
#include "mixer/TapLatencyStats.h"

namespace sonmere {

// One controlled app: what it plays goes to the mixer's output, and its spectrum is that after its equaliser.
// Never rebuilt in place.
struct VolumeMixerTap : CaptureTap {
  using CaptureTap::CaptureTap;

  TapLatencyStats latencyStats() const {
    const StereoRing::Reader& reader = ring.reader();
    return {.bundleID = bundleID,
            .backlogSamples = reader.lastBacklog,
            .maxBacklogSamples = reader.maxBacklog,
            .underruns = reader.underruns,
            .starves = reader.starves,
            .overflows = ring.writer.overflows,
            .reads = reader.reads,
            .writeSamples = ring.writer.lastWrite,
            .readSamples = reader.lastRead};
  }
};

}  // namespace sonmere
