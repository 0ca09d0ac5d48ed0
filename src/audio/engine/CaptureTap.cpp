#include "audio/engine/CaptureTap.h"

#include <algorithm>
#include <cmath>

#include "audio/device/AudioBuffers.h"
#include "base/RealtimeScope.h"
#include "dsp/Level.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

void meter(CaptureTap& tap, const float* samples, std::size_t n, std::uint64_t hostTime) noexcept {
  float rms = 0;
  if (!tap.isMuted && n > 0) {
    rms = std::sqrt(sumOfSquares(samples, n) / float(n));
    if (tap.levelFollowsVolume) rms *= tap.volume;
  }
  tap.level = meterLevel(rms);
  tap.levelStamp = hostTime;
}

void capture(CaptureTap& tap, const AudioBuffer& buffer, const AudioTimeStamp& now) noexcept {
  const std::int64_t n = buffer.byteSize / 4;
  tap.gaps.note(now.sampleTime, buffer.byteSize / (4 * std::max(buffer.channels, 1u)));
  meter(tap, buffer.data, std::size_t(n), now.hostTime);
  if (tap.spectrumOf && tap.spectrumOf->spectrumWanted()) tap.spectrum.feed(buffer.data, n);
  if (!tap.isMuted) tap.ring.writer.write(buffer.data, n);
}

}  // namespace

OSStatus captureProcedure(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                          AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto* tap = static_cast<CaptureTap*>(clientData);
  if (!tap) return noErr;
  tap->callbackCount.add(1);
  if (const AudioBuffer* buffer = firstFilled(input))
    capture(*tap, *buffer, now);
  else
    tap->gaps.skip();
  silence(output);
  return noErr;
}

}  // namespace sonmere
