#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/engine/TapAggregate.h"
#include "base/RenderClaim.h"
#include "dsp/BacklogWatch.h"
#include "dsp/RenderFlags.h"
#include "dsp/Ring.h"
#include "dsp/RingLedger.h"
#include "dsp/SpectrumRing.h"
#include "dsp/TapEffects.h"
#include "mixer/TapLatencyStats.h"

namespace sonmere {

// One controlled app: a muted process tap whose capture callback writes into a ring that the output's render
// drains. Never rebuilt in place. Shared: lives until the last published list that holds it is gone.
// `volume`, mute and effects change at any time from the main thread.
struct VolumeMixerTap : TapEffects {
  VolumeMixerTap(std::string bundle, std::vector<AudioObjectID> processes);

  // Main thread.
  const std::string bundleID;
  const std::vector<AudioObjectID> audioObjectIDs;
  TapAggregate objects;

  // Main thread writes, both callbacks read. When unmuting, `startLive` goes first.
  RTScalar<bool> isMuted{false};
  // Asks the next render to jump to the live edge of the ring instead of playing the backlog.
  RTScalar<bool> startLive{true};

  // Capture callback.
  RTPosition writePos;
  RTScalar<float> level{0.0f};            // 0 to 1, at the app's volume
  RTScalar<std::uint64_t> levelStamp{0};  // ns on the server's host clock
  RTScalar<std::int64_t> probeWriteCount;
  RTScalar<std::int64_t> probeOverflowCount;  // writes that would lap the reader
  RTScalar<std::int64_t> probeLastWriteSamples;

  // The output's render, under the claim.
  RenderClaim claim;
  RTPosition readPos;
  RTScalar<std::int64_t> probeLastSeenWriteCount;  // probeWriteCount at the latest pull
  RTScalar<std::int64_t> probeReadCount;
  RTScalar<std::int64_t> probeUnderrunCount;  // short pulls though writes arrived since the one before
  RTScalar<std::int64_t> probeStarveCount;    // short pulls with no write since the one before
  RTScalar<std::int64_t> probeLastBacklog;    // samples
  RTScalar<std::int64_t> probeMaxBacklog;
  RTScalar<std::int64_t> probeLastReadSamples;
  SpectrumRing fftBuffer;
  RingLedger ledger;
  BacklogWatch backlogWatch;

  // 48,000 samples of interleaved stereo.
  float* ringBuffer() noexcept { return ring_.get(); }
  std::int64_t available() const noexcept {
    return ringAvailable<kTapRingSamples>(writePos.loadAcquire(), readPos.loadAcquire());
  }
  TapLatencyStats latencyStats() const;

 private:
  std::unique_ptr<float[]> ring_;
};

}  // namespace sonmere
