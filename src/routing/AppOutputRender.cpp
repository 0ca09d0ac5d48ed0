#include "routing/AppOutputRender.h"

#include <cstring>

#include "audio/device/AudioBuffers.h"
#include "base/RealtimeScope.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

void place(const AppOutputContext& context, const float* samples, std::uint32_t frames, float* out) noexcept {
  if (context.channels == 2) {
    std::memcpy(out, samples, std::size_t(frames) * 2 * sizeof(float));
    return;
  }
  for (std::size_t i = 0; i < frames; ++i) {
    out[i * context.channels + context.placedLeft] = samples[2 * i];
    out[i * context.channels + context.placedRight] = samples[2 * i + 1];
  }
}

// The next block, at the app's volume; false when there is none.
bool pull(AppOutputContext& context, std::int64_t n) noexcept {
  SingleAppTap& tap = *context.tap;
  const RenderClaim::Hold hold(tap.claim);
  if (!hold) return false;
  StereoRing::Reader& ring = tap.ring.reader();
  // What is heard after an unmute is what plays then.
  if (tap.isMuted) return ring.skipToLive(), false;
  ring.startIfAsked(0);
  if (context.isInterrupted) tap.unrenderedFrames.add(context.cycles.missedFrames());
  if (!ring.pullAcrossClocks(context.scratch.data(), n)) return false;
  if (const float volume = tap.volume; volume != 1.0f) scale(context.scratch.data(), volume, std::size_t(n));
  return true;
}

}  // namespace

OSStatus renderAppOutput(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                         AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<AppOutputContext>(refcon);
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  context.renders.add(1);
  silence(buffers);
  const AudioBuffer* buffer = firstFilled(buffers);
  if (context.retired || !buffer) return noErr;
  const std::int64_t n = 2 * std::int64_t(frames);
  const bool fits =
      n <= kRenderScratchSamples && std::size_t(frames) * context.channels <= buffer->byteSize / 4;
  if (!fits || !pull(context, n)) return noErr;
  context.lastSliceFrames = frames;
  place(context, context.scratch.data(), frames, buffer->data);
  return noErr;
}

}  // namespace sonmere
