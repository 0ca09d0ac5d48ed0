#include "mixer/VolumeMixerRender.h"

#include <algorithm>
#include <cstring>

#include "dsp/VectorMath.h"
#include "mixer/VolumeMixerOutputContext.h"

namespace sonmere {

namespace {

// Jumps to the live edge when asked to: what gathered before would play as stale sound and stay as delay.
bool startedLive(VolumeMixerTap& tap) noexcept {
  if (!tap.startLive || !tap.startLive.exchange(false)) return false;
  const std::int64_t writePos = tap.writePos.loadAcquire();
  tap.ledger.skipped.add(ringAvailable<kTapRingSamples>(writePos, tap.readPos.loadRelaxed()));
  tap.readPos.storeRelease(writePos);
  tap.probeLastSeenWriteCount = tap.probeWriteCount;
  tap.probeLastBacklog = 0;
  return true;
}

// Takes n samples from the tap's ring; false when it holds too little, which leaves the ring alone. The wait
// for the first audio is no miss.
bool pull(VolumeMixerTap& tap, float* scratch, std::int64_t n) noexcept {
  const std::int64_t readPos = tap.readPos.loadRelaxed();
  const std::int64_t left = ringAvailable<kTapRingSamples>(tap.writePos.loadAcquire(), readPos) - n;
  const std::int64_t written = tap.probeWriteCount;
  const bool hasDelivered = written != tap.probeLastSeenWriteCount;
  tap.probeLastSeenWriteCount = written;
  tap.probeLastReadSamples = n;
  if (left < 0) {
    if (tap.probeReadCount > 0) (hasDelivered ? tap.probeUnderrunCount : tap.probeStarveCount).add(1);
    return false;
  }
  ringCopyOut<kTapRingSamples>(tap.ringBuffer(), readPos, scratch, n);
  tap.readPos.storeRelease((readPos + n) % kTapRingSamples);
  tap.probeReadCount.add(1);
  tap.probeLastBacklog = left;
  tap.probeMaxBacklog.raiseTo(left);
  tap.ledger.read.add(n);
  return true;
}

// A boosted app is always limited: at full scale, or at its own ceiling when its limiter is on.
float tapCeiling(const VolumeMixerTap& tap) noexcept {
  return tap.limiterEnabled ? tap.limiterCeiling.load() : 1.0f;
}

// A volume of 0 still drains the ring, so that raising it plays what sounds then.
void addToSum(float* out, const float* scratch, float volume, float master, std::int64_t n) noexcept {
  const float gain = std::min(1.0f, volume) * master;
  if (gain > 0) addScaled(out, scratch, gain, std::size_t(n));
}

void mixTap(VolumeMixerTap& tap, VolumeMixerOutputContext& context, float master, float* out,
            std::int64_t n) noexcept {
  if (tap.isMuted) return;
  const RenderClaim::Hold hold(tap.claim);
  if (!hold || startedLive(tap)) return;
  float* scratch = context.scratch.data();
  if (!pull(tap, scratch, n)) return;
  RenderSteps::equalise(tap, scratch, n);
  if (context.flags.spectrumWanted()) tap.fftBuffer.feed(scratch, n);
  const float volume = tap.volume;
  RenderSteps::boost(volume, scratch, n);
  RenderSteps::limitTap(tap, volume, tapCeiling(tap), scratch, n);
  addToSum(out, scratch, volume, master, n);
}

void finishOutput(VolumeMixerOutputContext& context, float master, float* out, std::int64_t n) noexcept {
  const bool isEqualised = context.outputEQEnabled;
  RenderSteps::equalise(isEqualised, context.outputEQCoefficients, context.outputEQDelays, out, n);
  if (context.flags.spectrumWanted()) context.outputFFTBuffer.feed(out, n);
  if (!isEqualised && master <= 1.0f) return;
  context.masterLimiterGain =
      RenderSteps::limitOutput(out, n, 1.0f, context.masterLimiterGain, kOutputQuietThreshold);
}

}  // namespace

OSStatus renderVolumeMixer(void* refcon, const AudioTimeStamp&, std::uint32_t frames,
                           AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = *static_cast<VolumeMixerOutputContext*>(refcon);
  const RenderReader::Block block(*context.reader);
  context.lastRenderHostTime = context.clock.hostTime();
  const bool isRetired = context.retired;
  const VolumeMixerSnapshot* snapshot = context.tapsSnapshot.load();
  const float master = context.masterVolume;
  for (AudioBuffer& buffer : buffers) {
    if (!buffer.data) continue;
    const std::int64_t n = std::min<std::int64_t>(buffer.byteSize / 4, 2 * std::int64_t(frames));
    std::memset(buffer.data, 0, buffer.byteSize);
    if (isRetired || n > kRenderScratchSamples) continue;
    if (snapshot)
      for (const auto& tap : snapshot->taps) mixTap(*tap, context, master, buffer.data, n);
    finishOutput(context, master, buffer.data, n);
  }
  return noErr;
}

}  // namespace sonmere
