#include "mixer/VolumeMixerRender.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "dsp/VectorMath.h"
#include "mixer/VolumeMixerOutputContext.h"

namespace sonmere {

namespace {

// A boosted app is always limited: at full scale, or at its own ceiling when its limiter is on.
float tapCeiling(const VolumeMixerTap& tap) noexcept {
  return tap.limiterEnabled ? tap.limiterCeiling.load() : 1.0f;
}

using TapList = std::vector<std::shared_ptr<VolumeMixerTap>>;

// Puts the tap's next block into the batch; false when it has none. A volume of 0 still drains the ring, so
// that raising it plays what sounds then.
bool enter(VolumeMixerTap& tap, TapBatch& batch, const VolumeMixerOutputContext& context, float master,
           std::int64_t n) noexcept {
  StereoRing::Reader& ring = tap.ring.reader();
  if (context.isInterrupted) tap.noteInterruption(context.cycles.missedFrames());
  if (ring.startIfAsked(0) || !ring.pull(batch.nextBlock(), n, context.sampleRate)) return false;
  const float volume = tap.volume, gain = std::min(1.0f, volume) * master;
  batch.add(tap, volume, tapCeiling(tap), gain, !(gain > 0));
  return true;
}

// Adds up to a batch of taps, from `next` on, to the sum, and behind the last of all runs the sum's
// equaliser.
void mixBatch(const TapList& taps, std::size_t& next, VolumeMixerOutputContext& context, float master,
              float* out, std::int64_t n, EqualiserLane* outputEqualiser) noexcept {
  std::array<std::optional<RenderClaim::Hold>, kMaxLanes> holds;
  std::array<VolumeMixerTap*, kMaxLanes> members;
  TapBatch batch(context.scratch, n);
  std::size_t count = 0;
  for (; next < taps.size() && !batch.isFull(); ++next) {
    VolumeMixerTap& tap = *taps[next];
    if (tap.isMuted || !holds[count].emplace(tap.claim)) continue;
    if (enter(tap, batch, context, master, n)) members[count++] = &tap;
  }
  if (context.flags.spectrumWanted()) {
    batch.equalise();
    for (std::size_t i = 0; i < count; ++i) members[i]->spectrum.feed(batch.block(i), n);
    batch.boost();
  } else {
    batch.equaliseAndBoost();
  }
  batch.limitAndMix(out, next == taps.size() ? outputEqualiser : nullptr);
}

void mixAndEqualise(const VolumeMixerSnapshot* snapshot, VolumeMixerOutputContext& context, float master,
                    bool isEqualised, float* out, std::int64_t n) noexcept {
  EqualiserLane lane;
  EqualiserLane* equaliser = nullptr;
  if (isEqualised && n >= 2) {
    lane = equaliserLane(context.outputEQCoefficients, context.outputEQDelays);
    equaliser = &lane;
  }
  std::size_t next = 0;
  const bool hasTaps = snapshot && !snapshot->taps.empty();
  while (hasTaps && next < snapshot->taps.size())
    mixBatch(snapshot->taps, next, context, master, out, n, equaliser);
  if (!equaliser) return;
  if (!hasTaps) kernels().equalise(lane, out, std::size_t(n / 2));
  saveDelays(lane, context.outputEQDelays);
}

void finishOutput(VolumeMixerOutputContext& context, bool isEqualised, float master, float* out,
                  std::int64_t n) noexcept {
  if (context.flags.spectrumWanted()) context.outputFFTBuffer.feed(out, n);
  if (!isEqualised && master <= 1.0f) return;
  context.masterLimiterGain =
      RenderSteps::limitOutput(out, n, 1.0f, context.masterLimiterGain, kOutputQuietThreshold);
}

}  // namespace

OSStatus renderVolumeMixer(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                           AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<VolumeMixerOutputContext>(refcon);
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  const bool isRetired = context.retired;
  const VolumeMixerSnapshot* snapshot = context.tapsSnapshot.load();
  const float master = context.masterVolume;
  for (AudioBuffer& buffer : buffers) {
    if (!buffer.data) continue;
    const std::int64_t n = std::min<std::int64_t>(buffer.byteSize / 4, 2 * std::int64_t(frames));
    std::memset(buffer.data, 0, buffer.byteSize);
    if (isRetired || n > kRenderScratchSamples) continue;
    const bool isEqualised = context.outputEQEnabled;
    mixAndEqualise(snapshot, context, master, isEqualised, buffer.data, n);
    finishOutput(context, isEqualised, master, buffer.data, n);
  }
  return noErr;
}

}  // namespace sonmere
