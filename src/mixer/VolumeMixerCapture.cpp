#include "mixer/VolumeMixerCapture.h"

#include <cmath>

#include "audio/device/AudioBuffers.h"
#include "dsp/Level.h"
#include "dsp/VectorMath.h"
#include "mixer/VolumeMixerTap.h"

namespace sonmere {

namespace {

void meter(VolumeMixerTap& tap, const AudioBuffer& buffer, std::uint64_t hostTime) noexcept {
  const std::size_t n = buffer.byteSize / 4;
  const float rms = n > 0 ? std::sqrt(sumOfSquares(buffer.data, n) / float(n)) : 0.0f;
  tap.level = meterLevel(rms * tap.volume);
  tap.levelStamp = hostTime;
}

// A write that laps the reader goes ahead all the same; until the render has aligned itself there is no
// reader to lap.
void capture(VolumeMixerTap& tap, const AudioBuffer& buffer) noexcept {
  const std::int64_t n = buffer.byteSize / 4;
  if (!tap.startLive && tap.available() + n >= kTapRingSamples) tap.probeOverflowCount.add(1);
  tap.probeWriteCount.add(1);
  tap.probeLastWriteSamples = n;
  ringWrite<kTapRingSamples>(tap.ringBuffer(), tap.writePos, tap.readPos, buffer.data, n);
  tap.ledger.written.add(n);
}

}  // namespace

OSStatus volumeMixerCapture(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                            AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto* tap = static_cast<VolumeMixerTap*>(clientData);
  if (!tap) return noErr;
  const AudioBuffer* const buffer = tap->isMuted ? nullptr : firstFilled(input);
  if (buffer) {
    meter(*tap, *buffer, now.hostTime);
    capture(*tap, *buffer);
  }
  silence(output);
  return noErr;
}

}  // namespace sonmere
