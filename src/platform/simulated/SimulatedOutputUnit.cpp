#include "platform/simulated/SimulatedOutputUnit.h"

#include <algorithm>

#include "platform/simulated/SimulatedHardware.h"

namespace sonmere {

namespace {
constexpr std::uint32_t kMaximumChannels = 64;
constexpr double kMinimumRate = 1000, kMaximumRate = 768000;  // Hz
}  // namespace

Result<std::unique_ptr<OutputUnit>> SimulatedHardware::newOutputUnit() {
  using Unit = std::unique_ptr<OutputUnit>;
  bool allowed = false;
  const OSStatus status = world_->perform(Operation::newOutputUnit, kAudioObjectUnknown, [&]() -> OSStatus {
    allowed = world_->options().hasOutputComponent;
    return allowed ? noErr : kAudioHardwareUnspecifiedError;
  });
  if (status != noErr) return std::unexpected(status);
  return Unit(std::make_unique<SimulatedOutputUnit>(world_));
}

SimulatedOutputUnit::SimulatedOutputUnit(std::shared_ptr<SimulatedWorld> world)
    : world_(std::move(world)), renderer_(std::make_shared<UnitRenderer>()) {
  world_->locked([&] {
    renderer_->settings.order = world_->newOrder();
    world_->graph().units.push_back(renderer_);
  });
}

SimulatedOutputUnit::~SimulatedOutputUnit() {
  world_->locked([&] {
    auto& units = world_->graph().units;
    const auto forget = [&] { std::erase(units, renderer_); };
    if (renderer_->settings.isStarted)
      world_->change(forget);
    else
      forget();
  });
}

// Settings hold still while it runs.
template <class Edit>
OSStatus SimulatedOutputUnit::prepare(Operation operation, Edit&& edit) {
  return set(operation, [&](UnitRenderer::Settings& settings) -> OSStatus {
    return settings.isStarted ? kAudioHardwareIllegalOperationError : edit(settings);
  });
}

template <class Edit>
OSStatus SimulatedOutputUnit::set(Operation operation, Edit&& edit) {
  return world_->perform(operation, boundDevice(), [&]() -> OSStatus {
    if (!renderer_->settings.isStarted) return edit(renderer_->settings);
    OSStatus status = noErr;
    world_->change([&] { status = edit(renderer_->settings); });
    return status;
  });
}

OSStatus SimulatedOutputUnit::setEnableIO(AudioScope scope, bool enabled) {
  return set(Operation::unitSetEnableIO, [&](UnitRenderer::Settings& settings) -> OSStatus {
    if (scope == AudioScope::global || settings.isInitialized) return kAudioUnitErrInvalidPropertyValue;
    (scope == AudioScope::input ? settings.inputEnabled : settings.outputEnabled) = enabled;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::setCurrentDevice(AudioDeviceID device) {
  return prepare(Operation::unitSetCurrentDevice, [&](UnitRenderer::Settings& settings) -> OSStatus {
    const SimulatedEndpoint* found = world_->graph().endpoint(device);
    if (!found) return kAudioHardwareBadDeviceError;
    const bool playable = settings.outputEnabled && found->outputChannels > 0;
    const bool capturable = settings.inputEnabled && found->inputChannels > 0;
    if (!playable && !capturable) return kAudioUnitErrInvalidPropertyValue;
    settings.device = device;
    return noErr;
  });
}

Result<AudioDeviceID> SimulatedOutputUnit::currentDevice() const {
  return world_->call<AudioDeviceID>(Operation::unitCurrentDevice, boundDevice(),
                                     [&]() -> Result<AudioDeviceID> {
                                       const AudioDeviceID device = renderer_->settings.device;
                                       if (device != kAudioObjectUnknown && !world_->graph().endpoint(device))
                                         return std::unexpected(kAudioHardwareBadDeviceError);
                                       return device;
                                     });
}

OSStatus SimulatedOutputUnit::setStreamFormat(AudioScope scope, const AudioStreamFormat& format) {
  return set(Operation::unitSetStreamFormat, [&](UnitRenderer::Settings& settings) -> OSStatus {
    if (scope == AudioScope::global || settings.isInitialized) return kAudioUnitErrInvalidPropertyValue;
    const bool rateIsSound = format.sampleRate >= kMinimumRate && format.sampleRate <= kMaximumRate;
    if (!rateIsSound || format.channels < 1 || format.channels > kMaximumChannels)
      return kAudioUnitErrFormatNotSupported;
    (scope == AudioScope::input ? settings.playFormat : settings.captureFormat) = format;
    return noErr;
  });
}

Result<AudioStreamFormat> SimulatedOutputUnit::hardwareFormat(AudioScope scope) const {
  return world_->call<AudioStreamFormat>(
      Operation::unitHardwareFormat, boundDevice(), [&]() -> Result<AudioStreamFormat> {
        const SimulatedEndpoint* device = world_->graph().endpoint(renderer_->settings.device);
        if (!device) return std::unexpected(kAudioHardwareBadDeviceError);
        return AudioStreamFormat{device->sampleRate, device->channels(scope)};
      });
}

OSStatus SimulatedOutputUnit::setChannelMap(std::vector<std::int32_t> map) {
  return prepare(Operation::unitSetChannelMap, [&](UnitRenderer::Settings& settings) -> OSStatus {
    settings.channelMap = std::move(map);
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::setMaximumFramesPerSlice(std::uint32_t frames) {
  return set(Operation::unitSetMaximumFramesPerSlice, [&](UnitRenderer::Settings& settings) -> OSStatus {
    if (frames == 0 || settings.isInitialized) return kAudioUnitErrInvalidPropertyValue;
    settings.maximumFrames = frames;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::setRenderCallback(RenderCallback callback, void* refcon) {
  return prepare(Operation::unitSetRenderCallback, [&](UnitRenderer::Settings& settings) -> OSStatus {
    settings.renderCallback = callback;
    settings.renderRefcon = refcon;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::setInputCallback(InputCallback callback, void* refcon) {
  return prepare(Operation::unitSetInputCallback, [&](UnitRenderer::Settings& settings) -> OSStatus {
    settings.inputCallback = callback;
    settings.inputRefcon = refcon;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::checkSides() const {
  const UnitRenderer::Settings& settings = renderer_->settings;
  const SimulatedEndpoint* device = world_->graph().endpoint(settings.device);
  if (!device) return kAudioHardwareBadDeviceError;
  if (settings.outputEnabled && device->outputChannels == 0) return kAudioUnitErrFormatNotSupported;
  if (settings.inputEnabled && device->inputChannels == 0) return kAudioUnitErrFormatNotSupported;
  return noErr;
}

OSStatus SimulatedOutputUnit::initialize() {
  return set(Operation::unitInitialize, [&](UnitRenderer::Settings& settings) -> OSStatus {
    if (const OSStatus status = checkSides()) return status;
    settings.isInitialized = true;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::uninitialize() {
  return set(Operation::unitUninitialize, [&](UnitRenderer::Settings& settings) -> OSStatus {
    settings.isInitialized = settings.isStarted = false;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::start() {
  return world_->perform(Operation::unitStart, boundDevice(), [&]() -> OSStatus {
    UnitRenderer::Settings& settings = renderer_->settings;
    if (!settings.isInitialized) return kAudioUnitErrUninitialized;
    if (const OSStatus status = checkSides()) return status;
    if (settings.isStarted) return noErr;
    world_->change([&] {
      renderer_->resetOutput();
      renderer_->resetInput();
      settings.isStarted = true;
    });
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::stop() {
  return set(Operation::unitStop, [&](UnitRenderer::Settings& settings) -> OSStatus {
    settings.isStarted = false;
    return noErr;
  });
}

OSStatus SimulatedOutputUnit::render(const AudioTimeStamp&, std::uint32_t frames,
                                     AudioBufferList buffers) noexcept {
  if (const auto status = world_->faults().next(Operation::unitRender)) return *status;
  return renderer_->fetch(frames, buffers);
}

}  // namespace sonmere
