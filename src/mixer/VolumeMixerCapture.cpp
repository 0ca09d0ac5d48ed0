#include "mixer/VolumeMixerCapture.h"

#include "audio/device/AudioBuffers.h"
#include "mixer/VolumeMixerTap.h"

namespace sonmere {

namespace {

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

OSStatus volumeMixerCapture(void* clientData, const AudioTimeStamp&, AudioBufferList input,
                            AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto* tap = static_cast<VolumeMixerTap*>(clientData);
  if (!tap) return noErr;
  if (!tap->isMuted)
    if (const AudioBuffer* buffer = firstFilled(input)) capture(*tap, *buffer);
  silence(output);
  return noErr;
}

}  // namespace sonmere
