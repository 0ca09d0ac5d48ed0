#include "audio/engine/OutputRunner.h"

#include <cmath>
#include <utility>

#include "audio/engine/Rates.h"

namespace sonmere {

std::expected<OutputRunner::Built, OutputFailure> OutputRunner::build() {
  const auto failed = [](OutputStep step, OSStatus status) {
    return std::unexpected(OutputFailure{step, status});
  };
  const auto device = plan_.device();
  if (!device) return failed(OutputStep::findDevice, kAudioHardwareBadDeviceError);
  const auto rate = plan_.rate(*device);
  if (!rate) return failed(OutputStep::readRate, kAudioHardwareBadDeviceError);
  if (!services_.hardware.hasOutputComponent())
    return failed(OutputStep::findComponent, kAudioHardwareUnspecifiedError);
  auto unit = services_.hardware.newOutputUnit();
  if (!unit) return failed(OutputStep::createUnit, unit.error());
  Built built{nullptr, std::move(*unit), *device};
  if (const auto failure = bringUp(built, *rate)) return std::unexpected(*failure);
  return built;
}

std::optional<OutputFailure> OutputRunner::bringUp(Built& built, double rate) {
  OutputUnit& unit = *built.unit;
  std::optional<OutputFailure> failure;
  const auto did = [&](OutputStep step, OSStatus status) {
    if (status != noErr) failure = {step, status};
    return status == noErr;
  };
  if (!did(OutputStep::setDevice, unit.setCurrentDevice(built.device))) return failure;
  built.context = plan_.makeContext(built.device, rate);
  const auto setFormat = [&] {
    return plan_.setFormat ? plan_.setFormat(unit, *built.context)
                           : unit.setStreamFormat(AudioScope::input, {rate, 2});
  };
  if (!did(OutputStep::setFormat, setFormat()) ||
      !did(OutputStep::setCallback, unit.setRenderCallback(plan_.callback, built.context.get())) ||
      !did(OutputStep::initialize, unit.initialize()))
    return failure;
  services_.retirement.addReader(built.context->reader);
  if (!did(OutputStep::start, unit.start())) unit.uninitialize();
  return failure;
}

std::expected<void, OutputFailure> OutputRunner::start() {
  if (unit_) return {};
  auto built = build();
  if (!built) return std::unexpected(built.error());
  context_ = std::move(built->context);
  unit_ = std::move(built->unit);
  device_ = built->device;
  listen();
  return {};
}

void OutputRunner::stop() {
  listeners_.clear();
  if (!unit_) return;
  context_->retired = true;
  services_.teardown.dispose(std::move(unit_), std::exchange(context_, nullptr));
  device_ = kAudioObjectUnknown;
}

void OutputRunner::listen() {
  std::vector<Property> watched{{device_, AudioProperty::nominalSampleRate},
                                {device_, AudioProperty::isAlive}};
  if (plan_.alsoWatched)
    for (const Property& each : plan_.alsoWatched()) watched.push_back(each);
  for (const Property& each : watched)
    listeners_.emplace_back().listen(services_.hardware, each.object, each.property,
                                     services_.runtime.mainQueue(), [this] {
                                       if (outdated && !isAsPlanned()) outdated();
                                     });
}

bool OutputRunner::isAsPlanned() const {
  if (!unit_ || plan_.device() != device_) return false;
  const auto rate = plan_.rate(device_);
  return rate && std::abs(*rate - context_->sampleRate) < kSameRateHz &&
         services_.hardware.isAlive(device_).value_or(false);
}

}  // namespace sonmere
