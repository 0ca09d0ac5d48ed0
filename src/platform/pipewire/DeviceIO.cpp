#include "platform/pipewire/DeviceIO.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "platform/pipewire/TapMixdown.h"

namespace sonmere {

namespace {
constexpr Duration kConnectTimeout = std::chrono::seconds(2);
}  // namespace

DeviceIO::DeviceIO(PipeWireServer& server, IOProc procedure, void* clientData)
    : server_(server), procedure_(procedure), clientData_(clientData) {}

DeviceIO::~DeviceIO() {
  const PipeWireLoop::Lock lock(server_.loop());
  stop();
}

CycleStreamPlan DeviceIO::plan(CycleStreamPlan::Kind kind, std::string name, double rate,
                               std::uint32_t latencyFrames) {
  CycleStreamPlan plan;
  plan.kind = kind;
  plan.name = std::move(name);
  plan.description = "Sonmere";
  plan.format = {rate, 2};
  plan.latencyFrames = latencyFrames;
  plan.group = server_.group();
  return plan;
}

OSStatus DeviceIO::startOnTap(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames) {
  server_.add(*this);
  forwardsTo_ = tap.isMuted() ? std::nullopt : server_.narrowOutputs().find(tap);
  OSStatus status = startTapStream(tap, rate, latencyFrames);
  if (status == noErr && forwardsTo_) status = startForwarding(tap, rate, latencyFrames);
  if (status != noErr) stop();
  return status;
}

// The programs play into the tap, and what it takes is played for them, a cycle later.
OSStatus DeviceIO::startForwarding(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames) {
  CycleStreamPlan forward = plan(CycleStreamPlan::Kind::playback, "sonmere.forward", rate, latencyFrames);
  forward.description = tap.description.name;
  forward.target = *forwardsTo_;
  return server_.open(output_, std::move(forward), played, this);
}

OSStatus DeviceIO::startTapStream(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames) {
  holds_ = tap.isMuted() || forwardsTo_;
  const auto kind = holds_ ? CycleStreamPlan::Kind::sink : CycleStreamPlan::Kind::listener;
  const std::string name = holds_ ? server_.uniqueName("tap") : "sonmere.capture";
  CycleStreamPlan tapPlan = plan(kind, name, rate, latencyFrames);
  tapPlan.description = tap.description.name;
  if (!holds_) {
    tapPlan.positions = TapMixdown::positions();
    tapPlan.format.channels = std::uint32_t(tapPlan.positions.size());
  }
  folds_ = !holds_;
  if (forwardsTo_) crossing_ = std::make_unique<CycleCrossing>(2);
  auto former = holds_ ? server_.departing().take(tapPlan) : DepartingStreams::Taken{};
  if (former.stream) {
    input_ = std::move(former.stream);
    input_->resume(captured, this);
    server_.watch(*input_);
  } else if (const OSStatus status = server_.open(input_, std::move(tapPlan), captured, this);
             status != noErr) {
    return status;
  }
  const GraphNode* node = announcedNode();
  if (node) capture(tap, *node);
  if (former.release) former.release();
  if (!node) return kAudioHardwareNotRunningError;
  // The release took the device off the guard's list too.
  if (holds_) server_.guard().add(sinkSerial_);
  return noErr;
}

// The stream's node is usable once the server has announced it here too.
const GraphNode* DeviceIO::announcedNode() {
  const auto announced = [&]() -> const GraphNode* {
    const auto id = input_ ? input_->node() : std::nullopt;
    return id ? server_.graph().node(*id) : nullptr;
  };
  server_.loop().waitUntil([&] { return !input_ || announced(); }, kConnectTimeout);
  return announced();
}

void DeviceIO::capture(const PipeWireTap& tap, const GraphNode& node) {
  // A tap that is started again is another one to those who move apps.
  PipeWireTap activation = tap;
  activation.id = tap_ = server_.newID();
  if (holds_) {
    std::from_chars(node.serial.data(), node.serial.data() + node.serial.size(), sinkSerial_);
    server_.mover().start(activation, node.id, [stream = input_.get()] { return stream->cycles(); });
  }
  server_.links().start(activation, node.id);
}

OSStatus DeviceIO::startOnDevice(const PipeWireDevice& device, double rate, std::uint32_t latencyFrames) {
  server_.add(*this);
  const auto sidePlan = [&](CycleStreamPlan::Kind kind, AudioScope scope) {
    const char* const direction = kind == CycleStreamPlan::Kind::playback ? "output" : "input";
    CycleStreamPlan side = plan(kind, server_.stableName(direction, device), rate, latencyFrames);
    side.description = server_.descriptionOf(device);
    side.target = device.uid;
    side.positions = server_.devices().channels(device, scope);
    side.format.channels = std::uint32_t(side.positions.size());
    return side;
  };
  OSStatus status = device.anySide() ? noErr : kAudioHardwareBadDeviceError;
  const bool hasInput = device.source.has_value();
  if (device.sink) {
    CycleStreamPlan output = sidePlan(CycleStreamPlan::Kind::playback, AudioScope::output);
    if (hasInput) crossing_ = std::make_unique<CycleCrossing>(output.format.channels);
    status = server_.open(output_, std::move(output), played, this);
  }
  if (status == noErr && hasInput)
    status =
        server_.open(input_, sidePlan(CycleStreamPlan::Kind::capture, AudioScope::input), captured, this);
  if (status != noErr) stop();
  return status;
}

void DeviceIO::setLatency(std::uint32_t frames) {
  if (input_) input_->setLatency(frames);
  if (output_) output_->setLatency(frames);
}

void DeviceIO::stop() {
  if (tap_ != kAudioObjectUnknown) stopTap();
  server_.close(input_);
  server_.close(output_);
  crossing_.reset();
  forwardsTo_.reset();
  server_.remove(*this);
}

void DeviceIO::stopTap() {
  const AudioObjectID activation = std::exchange(tap_, kAudioObjectUnknown);
  const std::uint32_t serial = std::exchange(sinkSerial_, 0);
  server_.links().stop(activation);
  if (!input_ || serial == 0) return;
  server_.unwatch(*input_);
  server_.departing().linger(std::move(input_), [&server = server_, activation, serial] {
    server.mover().stop(activation);
    server.guard().remove(serial);
  });
}

void DeviceIO::serverLost() {
  server_.guard().remove(sinkSerial_);
  sinkSerial_ = 0;
  tap_ = kAudioObjectUnknown;
  if (input_) input_->disconnect();
  if (output_) output_->disconnect();
}

void DeviceIO::captured(void* refcon, const CycleStream::Cycle& arrived) noexcept {
  auto* self = static_cast<DeviceIO*>(refcon);
  const CycleStream::Cycle cycle = self->folds_ ? TapMixdown::fold(arrived) : arrived;
  AudioBuffer input{cycle.channels, cycle.frames * cycle.channels * std::uint32_t(sizeof(float)),
                    cycle.samples};
  CycleCrossing* crossing = self->crossing_.get();
  AudioBuffer output;
  if (crossing && !self->forwardsTo_) output = crossing->block(cycle.frames);
  self->procedure_(self->clientData_, cycle.now, {&input, 1}, {&output, output.data ? 1u : 0u});
  if (crossing) {
    const AudioBuffer& carried = output.data ? output : input;
    crossing->write(carried.data, carried.byteSize / sizeof(float));
  }
  if (self->holds_) self->server_.guard().beat();
}

void DeviceIO::played(void* refcon, const CycleStream::Cycle& cycle) noexcept {
  auto* self = static_cast<DeviceIO*>(refcon);
  const std::uint32_t samples = cycle.frames * cycle.channels;
  AudioBuffer output{cycle.channels, samples * std::uint32_t(sizeof(float)), cycle.samples};
  std::memset(output.data, 0, output.byteSize);
  if (CycleCrossing* crossing = self->crossing_.get())
    crossing->read(output.data, samples);
  else
    self->procedure_(self->clientData_, cycle.now, {}, {&output, 1});
}

}  // namespace sonmere
