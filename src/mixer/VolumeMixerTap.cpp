#include "mixer/VolumeMixerTap.h"

namespace sonmere {

VolumeMixerTap::VolumeMixerTap(std::string bundle, std::vector<AudioObjectID> processes)
    : bundleID(std::move(bundle)),
      audioObjectIDs(std::move(processes)),
      ring_(new float[std::size_t(kTapRingSamples)]()) {}

TapLatencyStats VolumeMixerTap::latencyStats() const {
  return {.bundleID = bundleID,
          .backlogSamples = probeLastBacklog,
          .maxBacklogSamples = probeMaxBacklog,
          .underruns = probeUnderrunCount,
          .starves = probeStarveCount,
          .overflows = probeOverflowCount,
          .reads = probeReadCount,
          .writeSamples = probeLastWriteSamples,
          .readSamples = probeLastReadSamples};
}

}  // namespace sonmere
