#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "audio/device/CaptureEngine.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// Captures a device's input through a queue of frames that a worker empties.
class SimulatedCaptureEngine final : public CaptureEngine {
 public:
  explicit SimulatedCaptureEngine(std::shared_ptr<SimulatedWorld> world);
  ~SimulatedCaptureEngine() override;

  OSStatus setCurrentDevice(AudioDeviceID device) override;
  Result<AudioDeviceID> currentDevice() const override;
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
    std::mutex mutex;  // between the worker and the control side only
    TapBlock block;
    AudioStreamFormat format;
    std::uint32_t bufferFrames = 0;
    std::shared_ptr<FrameFIFO> fifo;
    std::vector<float> scratch;
    void drain();
  };
  struct Observer {
    std::shared_ptr<std::atomic<bool>> isActive;
    Queue* queue;
    std::shared_ptr<std::function<void()>> call;
  };

  // With the delivery set up: hands frames of `fifo` to the tap, one block at a time.
  void startDraining(std::shared_ptr<FrameFIFO> fifo);

  // Looked up under the world's lock.
  auto boundDevice() const {
    return [this] { return feed_->device; };
  }

  std::shared_ptr<SimulatedWorld> world_;
  std::shared_ptr<CaptureFeed> feed_;
  std::shared_ptr<Delivery> delivery_;
  std::shared_ptr<std::vector<Observer>> observers_;  // under the world's lock
  std::shared_ptr<Queue> worker_;
  ScopedTask draining_;
  bool hasTap_ = false;
};

}  // namespace sonmere
