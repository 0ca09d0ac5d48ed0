#pragma once

#include "audio/device/AudioHardware.h"
#include "base/RTScalar.h"

namespace sonmere {

// Whether anything sounds on the input side of a device. Main thread; the hardware outlives it.
class InputEar {
 public:
  explicit InputEar(AudioHardware& hardware) : hardware_(hardware) {}
  ~InputEar() { stop(); }
  InputEar(const InputEar&) = delete;
  InputEar& operator=(const InputEar&) = delete;

  // From now on, and nothing heard yet. False when the device can't be listened to.
  bool listen(AudioDeviceID device);
  void stop();
  // Since it began to listen, or was cleared.
  bool hasHeard() const { return hasHeard_; }
  void clear() { hasHeard_ = false; }

 private:
  static OSStatus hear(void* self, const AudioTimeStamp&, AudioBufferList input,
                       AudioBufferList) noexcept SONMERE_NONBLOCKING;

  AudioHardware& hardware_;
  RTScalar<bool> hasHeard_{false};
  AudioDeviceID device_ = kAudioObjectUnknown;
  IOProcID procedure_ = 0;
};

}  // namespace sonmere
