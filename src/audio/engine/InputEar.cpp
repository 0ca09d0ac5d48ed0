#include "audio/engine/InputEar.h"

#include "base/RealtimeScope.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {
// Less than the smallest step of 16 bits.
constexpr float kFlat = 1e-5f;
}  // namespace

OSStatus InputEar::hear(void* self, const AudioTimeStamp&, AudioBufferList input,
                        AudioBufferList) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  for (const AudioBuffer& buffer : input)
    if (buffer.data && maxMagnitude(buffer.data, buffer.byteSize / sizeof(float)) > kFlat)
      static_cast<InputEar*>(self)->hasHeard_ = true;
  return noErr;
}

bool InputEar::listen(AudioDeviceID device) {
  stop();
  clear();
  const auto procedure = hardware_.createIOProc(device, &InputEar::hear, this);
  if (!procedure) return false;
  device_ = device;
  procedure_ = *procedure;
  if (hardware_.startDevice(device, procedure_) == noErr) return true;
  stop();
  return false;
}

void InputEar::stop() {
  if (procedure_ == 0) return;
  hardware_.stopDevice(device_, procedure_);
  hardware_.destroyIOProc(device_, procedure_);
  procedure_ = 0;
}

}  // namespace sonmere
