#include "platform/pipewire/PipeWireOutputUnit.h"

#include <algorithm>
#include <cstring>

namespace sonmere {

namespace {
constexpr std::uint32_t kMaximumChannels = 64;
constexpr std::uint32_t kBytes = sizeof(float);

bool isUsable(const AudioStreamFormat& format) {
  return format.sampleRate >= 1000 && format.sampleRate <= 768000 && format.channels >= 1 &&
         format.channels <= kMaximumChannels;
}
}  // namespace

PipeWireOutputUnit::PipeWireOutputUnit(PipeWireServer& server, std::uint64_t identifier)
    : server_(server), identifier_(identifier) {}

PipeWireOutputUnit::~PipeWireOutputUnit() { PipeWireOutputUnit::stop(); }

// Settings hold still while a callback may read them.
OSStatus PipeWireOutputUnit::change(const std::function<void()>& edit) {
  if (isStarted_) return kAudioHardwareIllegalOperationError;
  edit();
  return noErr;
}

OSStatus PipeWireOutputUnit::setEnableIO(AudioScope scope, bool enabled) {
  if (scope == AudioScope::global || isInitialized_) return kAudioUnitErrInvalidPropertyValue;
  (scope == AudioScope::input ? inputEnabled_ : outputEnabled_) = enabled;
  return noErr;
}

OSStatus PipeWireOutputUnit::setCurrentDevice(AudioDeviceID device) {
  const PipeWireLoop::Lock lock(server_.loop());
  const PipeWireDevice* found = server_.devices().device(device);
  if (!found) return kAudioHardwareBadDeviceError;
  if (!(outputEnabled_ && found->sink) && !(inputEnabled_ && found->source))
    return kAudioUnitErrInvalidPropertyValue;
  return change([&] { device_ = device; });
}

Result<AudioDeviceID> PipeWireOutputUnit::currentDevice() const { return device_; }

OSStatus PipeWireOutputUnit::setStreamFormat(AudioScope scope, const AudioStreamFormat& format) {
  if (scope == AudioScope::global || isInitialized_) return kAudioUnitErrInvalidPropertyValue;
  if (!isUsable(format)) return kAudioUnitErrFormatNotSupported;
  return change([&] { (scope == AudioScope::input ? outputFormat_ : inputFormat_) = format; });
}

Result<AudioStreamFormat> PipeWireOutputUnit::hardwareFormat(AudioScope scope) const {
  const PipeWireLoop::Lock lock(server_.loop());
  const PipeWireDevice* device = server_.devices().device(device_);
  if (!device) return std::unexpected(kAudioHardwareBadDeviceError);
  return AudioStreamFormat{server_.graphRate(),
                           std::uint32_t(server_.devices().channels(*device, scope).size())};
}

OSStatus PipeWireOutputUnit::setChannelMap(std::vector<std::int32_t> map) {
  return change([&] { channelMap_ = std::move(map); });
}

OSStatus PipeWireOutputUnit::setMaximumFramesPerSlice(std::uint32_t frames) {
  if (frames == 0 || isInitialized_) return kAudioUnitErrInvalidPropertyValue;
  return change([&] { maximumFrames_ = frames; });
}

OSStatus PipeWireOutputUnit::setRenderCallback(RenderCallback callback, void* refcon) {
  return change([&] {
    renderCallback_ = callback;
    renderRefcon_ = refcon;
  });
}

OSStatus PipeWireOutputUnit::setInputCallback(InputCallback callback, void* refcon) {
  return change([&] {
    inputCallback_ = callback;
    inputRefcon_ = refcon;
  });
}

OSStatus PipeWireOutputUnit::initialize() {
  const PipeWireLoop::Lock lock(server_.loop());
  const PipeWireDevice* device = server_.devices().device(device_);
  if (!device) return kAudioHardwareBadDeviceError;
  if ((outputEnabled_ && !device->sink) || (inputEnabled_ && !device->source))
    return kAudioUnitErrFormatNotSupported;
  for (AudioStreamFormat* format : {&outputFormat_, &inputFormat_})
    if (format->sampleRate == 0) *format = {server_.graphRate(), 2};
  scratch_.assign(std::size_t(maximumFrames_) * outputFormat_.channels, 0.0f);
  isInitialized_ = true;
  return noErr;
}

OSStatus PipeWireOutputUnit::uninitialize() {
  if (isStarted_) stop();
  isInitialized_ = false;
  return noErr;
}

CycleStreamPlan PipeWireOutputUnit::plan(CycleStreamPlan::Kind kind, const PipeWireDevice& device) const {
  CycleStreamPlan plan;
  plan.kind = kind;
  plan.name = server_.stableName(kind == CycleStreamPlan::Kind::playback ? "output" : "input", device);
  plan.description = server_.descriptionOf(device);
  plan.format = kind == CycleStreamPlan::Kind::playback ? outputFormat_ : inputFormat_;
  plan.target = device.uid;
  plan.group = server_.group();
  if (latencyFrames) plan.latencyFrames = latencyFrames(device.id);
  // With a map the device's channels are addressed one by one.
  if (kind == CycleStreamPlan::Kind::playback && !channelMap_.empty()) {
    plan.positions = server_.devices().channels(device, AudioScope::output);
    plan.format.channels = std::uint32_t(plan.positions.size());
  }
  return plan;
}

OSStatus PipeWireOutputUnit::openSides(const PipeWireDevice& device) {
  const CycleStreamPlan outputPlan = plan(CycleStreamPlan::Kind::playback, device);
  const CycleStreamPlan inputPlan = plan(CycleStreamPlan::Kind::capture, device);
  if (outputEnabled_)
    if (const OSStatus status = server_.open(output_, outputPlan, played, this); status != noErr)
      return status;
  return inputEnabled_ ? server_.open(input_, inputPlan, captured, this) : noErr;
}

OSStatus PipeWireOutputUnit::start() {
  if (!isInitialized_) return kAudioUnitErrUninitialized;
  if (isStarted_) return noErr;
  const PipeWireLoop::Lock lock(server_.loop());
  const PipeWireDevice* device = server_.devices().device(device_);
  if (!device) return kAudioHardwareBadDeviceError;
  isStarted_ = true;
  server_.add(*this);
  const OSStatus status = openSides(*device);
  if (status != noErr) closeSides();
  return status;
}

bool PipeWireOutputUnit::isHeard() const {
  const PipeWireLoop::Lock lock(server_.loop());
  const auto node = output_ ? output_->node() : std::nullopt;
  return node && server_.graph().isHeard(*node);
}

OSStatus PipeWireOutputUnit::stop() {
  const PipeWireLoop::Lock lock(server_.loop());
  closeSides();
  return noErr;
}

void PipeWireOutputUnit::closeSides() {
  server_.close(output_);
  server_.close(input_);
  server_.remove(*this);
  isStarted_ = false;
}

void PipeWireOutputUnit::serverLost() {
  if (output_) output_->disconnect();
  if (input_) input_->disconnect();
}

OSStatus PipeWireOutputUnit::render(const AudioTimeStamp&, std::uint32_t frames,
                                    AudioBufferList buffers) noexcept {
  if (!arrived_ || buffers.empty() || !buffers[0].data) return kAudioUnitErrNoConnection;
  AudioBuffer& buffer = buffers[0];
  const std::uint32_t room = buffer.byteSize / (arrived_->channels * kBytes);
  const std::uint32_t count = std::min({frames, arrived_->frames, room});
  std::memcpy(buffer.data, arrived_->samples, std::size_t(count) * arrived_->channels * kBytes);
  buffer.byteSize = count * arrived_->channels * kBytes;
  return noErr;
}

void PipeWireOutputUnit::captured(void* refcon, const CycleStream::Cycle& cycle) noexcept {
  auto* self = static_cast<PipeWireOutputUnit*>(refcon);
  self->arrived_ = &cycle;
  if (self->inputCallback_) self->inputCallback_(self->inputRefcon_, cycle.now, 1, cycle.frames);
  self->arrived_ = nullptr;
}

void PipeWireOutputUnit::played(void* refcon, const CycleStream::Cycle& cycle) noexcept {
  auto* self = static_cast<PipeWireOutputUnit*>(refcon);
  AudioTimeStamp now = cycle.now;
  for (std::uint32_t done = 0; done < cycle.frames;) {
    const std::uint32_t frames = std::min(cycle.frames - done, self->maximumFrames_);
    self->renderSlice(cycle.samples + std::size_t(done) * cycle.channels, frames, cycle.channels, now);
    done += frames;
    now.sampleTime += frames;
  }
}

void PipeWireOutputUnit::renderSlice(float* target, std::uint32_t frames, std::uint32_t channels,
                                     const AudioTimeStamp& now) noexcept {
  const std::uint32_t clientChannels = outputFormat_.channels;
  const bool isMapped = !channelMap_.empty();
  AudioBuffer buffer{clientChannels, frames * clientChannels * kBytes, isMapped ? scratch_.data() : target};
  std::memset(buffer.data, 0, buffer.byteSize);
  if (renderCallback_) renderCallback_(renderRefcon_, now, frames, {&buffer, 1});
  if (!isMapped) return;
  for (std::uint32_t channel = 0; channel < channels; ++channel) {
    const std::int32_t from = channel < channelMap_.size() ? channelMap_[channel] : -1;
    const bool isSilent = from < 0 || std::uint32_t(from) >= clientChannels;
    for (std::uint32_t frame = 0; frame < frames; ++frame)
      target[frame * channels + channel] =
          isSilent ? 0.0f : scratch_[frame * clientChannels + std::uint32_t(from)];
  }
}

}  // namespace sonmere
