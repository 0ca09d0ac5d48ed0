#pragma once

#include <functional>
#include <memory>

#include "audio/device/AudioTypes.h"
#include "base/Observable.h"
#include "base/Queue.h"

namespace sonmere {

// Captured frames, interleaved. Valid during the call only.
struct CapturedBlock {
  AudioStreamFormat format;
  std::uint32_t frames = 0;
  const float* samples = nullptr;
  std::uint64_t hostTime = 0;  // ns on the server's host clock, of the first frame; 0: unknown
};

// Captures the input side of one device and hands blocks to a worker, where they may be written to a file.
// Control: one serial queue of the caller's choice. The tap block runs on the engine's own worker thread.
class CaptureEngine {
 public:
  virtual ~CaptureEngine() = default;
  using TapBlock = std::function<void(const CapturedBlock&)>;

  virtual OSStatus setCurrentDevice(AudioDeviceID device) = 0;
  virtual Result<AudioDeviceID> currentDevice() const = 0;
  // Present format of the bound device's input; rate 0 or no channels while it has none.
  virtual AudioStreamFormat inputFormat() const = 0;
  // `bufferFrames` is a wish.
  virtual OSStatus installTap(std::uint32_t bufferFrames, const AudioStreamFormat& format,
                              TapBlock block) = 0;
  // The block does not run once it has returned.
  virtual void removeTap() = 0;
  virtual OSStatus start() = 0;
  virtual void stop() = 0;
  virtual bool isRunning() const = 0;
  // The device's format or presence changed; the engine has stopped by then. Posted to `queue`.
  [[nodiscard]] virtual Subscription observeConfigurationChange(Queue& queue,
                                                                std::function<void()> observer) = 0;
};

}  // namespace sonmere
