#include "routing/TapIOProcedure.h"

#include <cmath>

#include "audio/device/AudioBuffers.h"
#include "base/RealtimeScope.h"
#include "dsp/Level.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

void meter(SingleAppTap& tap, const float* samples, std::int64_t n) noexcept {
  float rms = 0;
  if (!tap.isMuted && n > 0) {
    rms = std::sqrt(sumOfSquares(samples, std::size_t(n)) / float(n));
    if (tap.monitorLinked) rms *= tap.volume;
  }
  tap.level = meterLevel(rms);
  tap.levelStamp = tap.hostClock.hostTime();
}

void capture(SingleAppTap& tap, const AudioBuffer& buffer) noexcept {
  const std::int64_t n = buffer.byteSize / 4;
  meter(tap, buffer.data, n);
  if (tap.renderFlags.spectrumWanted()) tap.spectrum.feed(buffer.data, n);
  if (tap.isMuted) return;
  ringWrite<kTapRingSamples>(tap.ringBuffer(), tap.writePos, tap.readPos, buffer.data, n);
  tap.ledger.written.add(n);
}

}  // namespace

OSStatus tapIOProcedure(void* clientData, const AudioTimeStamp&, AudioBufferList input,
                        AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto* tap = static_cast<SingleAppTap*>(clientData);
  if (!tap) return noErr;
  tap->callbackCount.add(1);
  if (const AudioBuffer* buffer = firstFilled(input)) capture(*tap, *buffer);
  silence(output);
  return noErr;
}

}  // namespace sonmere
