#include "platform/simulated/SimulatedCaptureEngine.h"

#include <algorithm>

namespace sonmere {

namespace {
constexpr double kQueueSeconds = 2.0;
}

SimulatedCaptureEngine::SimulatedCaptureEngine(std::shared_ptr<SimulatedWorld> world)
    : world_(std::move(world)),
      feed_(std::make_shared<CaptureFeed>()),
      delivery_(std::make_shared<Delivery>()),
      observers_(std::make_shared<std::vector<Observer>>()),
      worker_(world_->runtime().serialQueue("capture")) {
  feed_->onConfigurationChange = [observers = observers_] {
    for (const Observer& observer : *observers)
      observer.queue->post([call = observer.call, isActive = observer.isActive] {
        if (*isActive) (*call)();
      });
  };
  world_->locked([&] { world_->graph().captures.push_back(feed_); });
}

SimulatedCaptureEngine::~SimulatedCaptureEngine() {
  removeTap();
  world_->locked([&] { world_->change([&] { std::erase(world_->graph().captures, feed_); }); });
}

OSStatus SimulatedCaptureEngine::setCurrentDevice(AudioDeviceID device) {
  return world_->perform(Operation::captureSetCurrentDevice, device, [&]() -> OSStatus {
    const SimulatedEndpoint* found = world_->graph().endpoint(device);
    if (!found) return kAudioHardwareBadDeviceError;
    if (found->inputChannels == 0) return kAudioUnitErrInvalidPropertyValue;
    if (feed_->isStarted) return kAudioHardwareIllegalOperationError;
    feed_->device = device;
    return noErr;
  });
}

Result<AudioDeviceID> SimulatedCaptureEngine::currentDevice() const {
  return world_->call<AudioDeviceID>(Operation::captureCurrentDevice, boundDevice(),
                                     [&]() -> Result<AudioDeviceID> { return feed_->device; });
}

AudioStreamFormat SimulatedCaptureEngine::inputFormat() const {
  return world_->locked([&]() -> AudioStreamFormat {
    const SimulatedEndpoint* device = world_->isDown() ? nullptr : world_->graph().endpoint(feed_->device);
    return device ? AudioStreamFormat{device->sampleRate, device->inputChannels} : AudioStreamFormat{0, 0};
  });
}

OSStatus SimulatedCaptureEngine::installTap(std::uint32_t bufferFrames, const AudioStreamFormat& format,
                                            TapBlock block) {
  std::shared_ptr<FrameFIFO> fifo;
  const OSStatus status = world_->perform(Operation::captureInstallTap, boundDevice(), [&]() -> OSStatus {
    const SimulatedEndpoint* device = world_->graph().endpoint(feed_->device);
    if (!device) return kAudioHardwareBadDeviceError;
    if (hasTap_ || bufferFrames == 0) return kAudioHardwareIllegalOperationError;
    if (format != AudioStreamFormat{device->sampleRate, device->inputChannels})
      return kAudioDeviceUnsupportedFormatError;
    if (feed_->isStarted) fifo = feed_->fifo;
    return noErr;
  });
  if (status != noErr) return status;
  {
    const std::lock_guard lock(delivery_->mutex);
    delivery_->block = std::move(block);
    delivery_->format = format;
    delivery_->bufferFrames = bufferFrames;
    delivery_->scratch.resize(std::size_t(bufferFrames) * format.channels);
    // Frames of another format may still wait in the one of a capture that was interrupted.
    delivery_->fifo.reset();
  }
  hasTap_ = true;
  if (!fifo) return noErr;
  // What passed while nobody took it is not heard later.
  fifo->skip(fifo->available());
  startDraining(std::move(fifo));
  return noErr;
}

void SimulatedCaptureEngine::removeTap() {
  draining_.cancel();
  const std::lock_guard lock(delivery_->mutex);
  delivery_->block = nullptr;
  hasTap_ = false;
}

OSStatus SimulatedCaptureEngine::start() {
  std::shared_ptr<FrameFIFO> fifo;
  const OSStatus status = world_->perform(Operation::captureStart, boundDevice(), [&]() -> OSStatus {
    const SimulatedEndpoint* device = world_->graph().endpoint(feed_->device);
    if (!device) return kAudioHardwareBadDeviceError;
    if (feed_->isStarted) return noErr;
    const AudioStreamFormat format{device->sampleRate, device->inputChannels};
    // The format of the tap is written by this side only.
    if (hasTap_ && delivery_->format != format) return kAudioDeviceUnsupportedFormatError;
    fifo = std::make_shared<FrameFIFO>(format.channels, std::uint32_t(kQueueSeconds * format.sampleRate));
    world_->change([&] {
      feed_->format = format;
      feed_->fifo = fifo;
      feed_->isStarted = true;
    });
    return noErr;
  });
  if (status == noErr && fifo && hasTap_) startDraining(std::move(fifo));
  return status;
}

// The worker's lock is never taken under the world's: the tap block may call the boundary.
void SimulatedCaptureEngine::startDraining(std::shared_ptr<FrameFIFO> fifo) {
  {
    const std::lock_guard lock(delivery_->mutex);
    delivery_->fifo = std::move(fifo);
  }
  const Duration interval = fromSeconds(delivery_->bufferFrames / delivery_->format.sampleRate);
  draining_ = worker_->repeat(interval, [delivery = delivery_] { delivery->drain(); });
}

void SimulatedCaptureEngine::stop() {
  draining_.cancel();
  world_->locked([&] {
    if (feed_->isStarted) world_->change([&] { feed_->isStarted = false; });
  });
}

bool SimulatedCaptureEngine::isRunning() const {
  return world_->locked([&] { return feed_->isStarted; });
}

Subscription SimulatedCaptureEngine::observeConfigurationChange(Queue& queue,
                                                                std::function<void()> observer) {
  auto isActive = std::make_shared<std::atomic<bool>>(true);
  world_->locked([&] {
    std::erase_if(*observers_, [](const Observer& each) { return !*each.isActive; });
    observers_->push_back({isActive, &queue, std::make_shared<std::function<void()>>(std::move(observer))});
  });
  return Subscription(isActive);
}

// Hands on all that waits, in blocks of at most the wished size.
void SimulatedCaptureEngine::Delivery::drain() {
  const std::lock_guard lock(mutex);
  while (block && fifo) {
    const std::uint64_t hostTime = fifo->nextHostTime(format.sampleRate);
    const std::uint32_t frames = fifo->read(scratch.data(), bufferFrames);
    if (frames == 0) return;
    block({format, frames, scratch.data(), hostTime});
  }
}

}  // namespace sonmere
