#include "platform/pipewire/PipeWireCaptureEngine.h"

#include <algorithm>
#include <utility>

namespace sonmere {

namespace {
constexpr double kQueueSeconds = 2.0;
constexpr std::uint32_t kMaximumFrames = 8192;
}  // namespace

// Lives on while handlers of listeners may still be queued.
struct PipeWireCaptureEngine::Watch {
  struct Observer {
    std::shared_ptr<std::atomic<bool>> isActive;
    Queue* queue;
    std::shared_ptr<std::function<void()>> call;
  };
  std::mutex mutex;
  std::vector<Observer> observers;
  std::vector<ListenerID> listeners;        // of the engine's life
  std::vector<ListenerID> deviceListeners;  // of a capture's
  AudioHardware* hardware = nullptr;
  std::shared_ptr<Delivery> delivery;
  AudioDeviceID device = kAudioObjectUnknown;
  AudioStreamFormat format;
  bool isArmed = false;
  std::atomic<bool> hasEnded{false};  // by itself; the unit waits for the owner's thread

  static AudioStreamFormat formatOf(AudioHardware& hardware, AudioDeviceID device) {
    const auto rate = hardware.nominalSampleRate(device);
    const auto sides = hardware.streamConfiguration(device, AudioScope::input);
    if (!rate || !sides || sides->empty()) return {0, 0};
    return {*rate, sides->front()};
  }
  // Ends the capture, and tells once, when what it was started with holds no longer. The worker.
  void look() {
    const std::lock_guard lock(mutex);
    if (!isArmed || formatOf(*hardware, device) == format) return;
    isArmed = false;
    hasEnded = true;
    delivery->forget();
    for (const Observer& observer : observers)
      observer.queue->post([each = observer] {
        if (*each.isActive) (*each.call)();
      });
  }
};

PipeWireCaptureEngine::PipeWireCaptureEngine(Runtime& runtime, AudioHardware& hardware)
    : hardware_(hardware),
      delivery_(std::make_shared<Delivery>()),
      worker_(runtime.serialQueue("capture")),
      watch_(std::make_shared<Watch>()) {
  watch_->hardware = &hardware;
  watch_->delivery = delivery_;
  for (const AudioProperty property : {AudioProperty::devices, AudioProperty::serviceRestarted})
    if (const auto id = hardware.addListener(kAudioObjectSystemObject, property, AudioScope::global, *worker_,
                                             [watch = watch_] { watch->look(); }))
      watch_->listeners.push_back(*id);
}

PipeWireCaptureEngine::~PipeWireCaptureEngine() {
  removeTap();
  stop();
  for (const ListenerID listener : watch_->listeners) hardware_.removeListener(listener);
}

bool PipeWireCaptureEngine::isRunning() const { return unit_ && !watch_->hasEnded; }

void PipeWireCaptureEngine::listenToDevice() {
  for (const AudioProperty property : {AudioProperty::nominalSampleRate, AudioProperty::streamConfiguration})
    if (const auto id = hardware_.addListener(device_, property, AudioScope::input, *worker_,
                                              [watch = watch_] { watch->look(); }))
      watch_->deviceListeners.push_back(*id);
}

OSStatus PipeWireCaptureEngine::setCurrentDevice(AudioDeviceID device) {
  const auto sides = hardware_.streamConfiguration(device, AudioScope::input);
  if (!sides) return sides.error();
  if (sides->empty()) return kAudioUnitErrInvalidPropertyValue;
  if (isRunning()) return kAudioHardwareIllegalOperationError;
  device_ = device;
  return noErr;
}

AudioStreamFormat PipeWireCaptureEngine::inputFormat() const { return Watch::formatOf(hardware_, device_); }

OSStatus PipeWireCaptureEngine::installTap(std::uint32_t bufferFrames, const AudioStreamFormat& format,
                                           TapBlock block) {
  const AudioStreamFormat present = inputFormat();
  if (present.channels == 0) return kAudioHardwareBadDeviceError;
  if (hasTap_ || bufferFrames == 0) return kAudioHardwareIllegalOperationError;
  if (format != present) return kAudioDeviceUnsupportedFormatError;
  {
    const std::lock_guard lock(delivery_->mutex);
    delivery_->block = std::move(block);
    delivery_->format = format;
    delivery_->bufferFrames = bufferFrames;
    delivery_->scratch.resize(std::size_t(bufferFrames) * format.channels);
    // What passed while nobody took it is not heard later.
    if (delivery_->fifo) delivery_->fifo->skip(delivery_->fifo->available());
  }
  hasTap_ = true;
  if (isRunning()) startDraining(format);
  return noErr;
}

void PipeWireCaptureEngine::removeTap() {
  draining_.cancel();
  const std::lock_guard lock(delivery_->mutex);
  delivery_->block = nullptr;
  hasTap_ = false;
}

OSStatus PipeWireCaptureEngine::start() {
  if (isRunning()) return noErr;
  stop();
  const AudioStreamFormat format = inputFormat();
  if (format.channels == 0) return kAudioHardwareBadDeviceError;
  if (hasTap_ && delivery_->format != format) return kAudioDeviceUnsupportedFormatError;
  if (const OSStatus status = openUnit(format); status != noErr) {
    stop();
    return status;
  }
  {
    const std::lock_guard lock(watch_->mutex);
    watch_->device = device_;
    watch_->format = format;
    watch_->isArmed = true;
  }
  listenToDevice();
  if (hasTap_) startDraining(format);
  // A change since the format was read has told nobody.
  worker_->post([watch = watch_] { watch->look(); });
  return noErr;
}

OSStatus PipeWireCaptureEngine::openUnit(const AudioStreamFormat& format) {
  auto unit = hardware_.newOutputUnit();
  if (!unit) return unit.error();
  unit_ = std::move(*unit);
  feed_ = std::make_unique<Feed>();
  feed_->unit = unit_.get();
  feed_->channels = format.channels;
  feed_->fifo =
      std::make_shared<FrameFIFO>(format.channels, std::uint32_t(kQueueSeconds * format.sampleRate));
  feed_->block.resize(std::size_t(kMaximumFrames) * format.channels);
  {
    const std::lock_guard lock(delivery_->mutex);
    delivery_->fifo = feed_->fifo;
  }
  OSStatus status = unit_->setEnableIO(AudioScope::output, false);
  if (status == noErr) status = unit_->setEnableIO(AudioScope::input, true);
  if (status == noErr) status = unit_->setCurrentDevice(device_);
  if (status == noErr) status = unit_->setStreamFormat(AudioScope::output, format);
  if (status == noErr) status = unit_->setInputCallback(arrived, feed_.get());
  if (status == noErr) status = unit_->initialize();
  return status == noErr ? unit_->start() : status;
}

void PipeWireCaptureEngine::startDraining(const AudioStreamFormat& format) {
  const Duration interval = fromSeconds(delivery_->bufferFrames / format.sampleRate);
  draining_ = worker_->repeat(interval, [delivery = delivery_] { delivery->drain(); });
}

void PipeWireCaptureEngine::stop() {
  draining_.cancel();
  {
    const std::lock_guard lock(watch_->mutex);
    watch_->isArmed = false;
    watch_->hasEnded = false;
  }
  for (const ListenerID listener : std::exchange(watch_->deviceListeners, {}))
    hardware_.removeListener(listener);
  if (unit_) {
    unit_->stop();
    unit_->uninitialize();
  }
  unit_.reset();
  feed_.reset();
}

Subscription PipeWireCaptureEngine::observeConfigurationChange(Queue& queue, std::function<void()> observer) {
  auto isActive = std::make_shared<std::atomic<bool>>(true);
  const std::lock_guard lock(watch_->mutex);
  std::erase_if(watch_->observers, [](const auto& each) { return !*each.isActive; });
  watch_->observers.push_back(
      {isActive, &queue, std::make_shared<std::function<void()>>(std::move(observer))});
  return Subscription(isActive);
}

OSStatus PipeWireCaptureEngine::arrived(void* refcon, const AudioTimeStamp& time, std::uint32_t,
                                        std::uint32_t frames) noexcept {
  auto* feed = static_cast<Feed*>(refcon);
  frames = std::min(frames, kMaximumFrames);
  AudioBuffer buffer{feed->channels, frames * feed->channels * std::uint32_t(sizeof(float)),
                     feed->block.data()};
  if (const OSStatus status = feed->unit->render(time, frames, {&buffer, 1}); status != noErr) return status;
  feed->fifo->write(feed->block.data(), buffer.byteSize / (feed->channels * std::uint32_t(sizeof(float))),
                    time.hostTime);
  return noErr;
}

void PipeWireCaptureEngine::Delivery::forget() {
  const std::lock_guard lock(mutex);
  fifo.reset();
}

// Hands on all that waits, in blocks of at most the wished size.
void PipeWireCaptureEngine::Delivery::drain() {
  const std::lock_guard lock(mutex);
  while (block && fifo) {
    const std::uint64_t hostTime = fifo->nextHostTime(format.sampleRate);
    const std::uint32_t frames = fifo->read(scratch.data(), bufferFrames);
    if (frames == 0) return;
    block({format, frames, scratch.data(), hostTime});
  }
}

}  // namespace sonmere
