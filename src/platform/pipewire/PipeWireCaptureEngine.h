#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "audio/device/CaptureEngine.h"
#include "base/Runtime.h"
#include "platform/FrameFIFO.h"

namespace sonmere {

// Captures a device's input with an input unit, through a queue of frames that a worker empties.
class PipeWireCaptureEngine final : public CaptureEngine {
 public:
  PipeWireCaptureEngine(Runtime& runtime, AudioHardware& hardware);
  ~PipeWireCaptureEngine() override;

  OSStatus setCurrentDevice(AudioDeviceID device) override;
  Result<AudioDeviceID> currentDevice() const override { return device_; }
  AudioStreamFormat inputFormat() const override;
  OSStatus installTap(std::uint32_t bufferFrames, const AudioStreamFormat& format, TapBlock block) override;
  void removeTap() override;
  OSStatus start() override;
  void stop() override;
  bool isRunning() const override;
  [[nodiscard]] Subscription observeConfigurationChange(Queue& queue,
                                                        std::function<void()> observer) override;

 private:
  // What the worker holds: it outlives the engine while a run is under way.
  struct Delivery {
    std::mutex mutex;
    TapBlock block;
    AudioStreamFormat format;
    std::uint32_t bufferFrames = 0;
    std::shared_ptr<FrameFIFO> fifo;
    std::vector<float> scratch;
    void drain();
    void forget();
  };
  // What the input callback works on.
  struct Feed {
    OutputUnit* unit = nullptr;
    std::shared_ptr<FrameFIFO> fifo;
    std::uint32_t channels = 0;
    std::vector<float> block;
  };
  struct Watch;

  OSStatus openUnit(const AudioStreamFormat& format);
  void listenToDevice();
  void startDraining(const AudioStreamFormat& format);
  static OSStatus arrived(void* refcon, const AudioTimeStamp& time, std::uint32_t bus,
                          std::uint32_t frames) noexcept SONMERE_NONBLOCKING;

  AudioHardware& hardware_;
  AudioDeviceID device_ = kAudioObjectUnknown;
  std::shared_ptr<Delivery> delivery_;
  std::unique_ptr<Feed> feed_;
  std::unique_ptr<OutputUnit> unit_;
  std::shared_ptr<Queue> worker_;
  ScopedTask draining_;
  bool hasTap_ = false;
  std::shared_ptr<Watch> watch_;
};

}  // namespace sonmere
