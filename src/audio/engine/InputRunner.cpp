#include "audio/engine/InputRunner.h"

namespace sonmere {

std::expected<void, OutputFailure> InputRunner::make(AudioDeviceID device) {
  stop();
  const auto failed = [](OutputStep step, OSStatus status) {
    return std::unexpected(OutputFailure{step, status});
  };
  if (!services_.hardware.hasOutputComponent())
    return failed(OutputStep::findComponent, kAudioHardwareUnspecifiedError);
  auto unit = services_.hardware.newOutputUnit();
  if (!unit) return failed(OutputStep::createUnit, unit.error());
  if (const auto failure = bringUp(**unit, device)) {
    unit->reset();
    context_.reset();
    return std::unexpected(*failure);
  }
  unit_ = std::move(*unit);
  device_ = device;
  return {};
}

std::optional<OutputFailure> InputRunner::bringUp(OutputUnit& unit, AudioDeviceID device) {
  std::optional<OutputFailure> failure;
  const auto did = [&](OutputStep step, OSStatus status) {
    if (status != noErr) failure = {step, status};
    return status == noErr;
  };
  if (!did(OutputStep::setDevice, unit.setEnableIO(AudioScope::input, true)) ||
      !did(OutputStep::setDevice, unit.setEnableIO(AudioScope::output, false)) ||
      !did(OutputStep::setDevice, unit.setCurrentDevice(device)))
    return failure;
  const AudioStreamFormat format = plan_.format(unit, device);
  context_ = plan_.makeContext(format);
  context_->unit = &unit;
  RenderContext* const refcon = context_.get();
  if (did(OutputStep::setFormat, unit.setStreamFormat(AudioScope::output, format)) &&
      did(OutputStep::setCallback, unit.setInputCallback(plan_.callback, refcon)) &&
      did(OutputStep::setFormat, unit.setMaximumFramesPerSlice(plan_.framesPerSlice)))
    did(OutputStep::initialize, unit.initialize());
  return failure;
}

std::expected<void, OutputFailure> InputRunner::start() {
  services_.retirement.addReader(context_->reader);
  const OSStatus status = unit_->start();
  if (status == noErr) return {};
  unit_->uninitialize();
  unit_.reset();
  stop();
  return std::unexpected(OutputFailure{OutputStep::start, status});
}

void InputRunner::stop() {
  if (context_) context_->retired = true;
  if (unit_) services_.teardown.dispose(std::move(unit_), std::move(context_));
  context_.reset();
  device_ = kAudioObjectUnknown;
}

}  // namespace sonmere
