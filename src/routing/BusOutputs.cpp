#include "routing/BusOutputs.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

BusOutputs::BusOutputs(RoutingCore& core) : core_(core) {}

BusOutputs::~BusOutputs() { close(); }

void BusOutputs::close() {
  closed_ = true;
  dropAll();
}

void BusOutputs::dropAll() {
  for (int bus = 0; bus < kBusCount; ++bus) stop(bus);
}

bool BusOutputs::isRunning(int bus) const { return isBus(bus) && outputs_[std::size_t(bus)].has_value(); }

std::optional<double> BusOutputs::sampleRate(int bus) const {
  if (!isRunning(bus)) return std::nullopt;
  return outputs_[std::size_t(bus)]->context->sampleRate;
}

double BusOutputs::rateOrDefault(int bus) const {
  if (const auto rate = sampleRate(bus)) return *rate;
  return core_.bridgeRate().value_or(kFallbackRate);
}

// A running file cannot change its rate; otherwise bus 0 is the rate master of the system.
double BusOutputs::chooseRate(int bus, AudioDeviceID device) const {
  if (recordingRate)
    if (const auto rate = recordingRate(bus)) return *rate;
  if (const auto rate = core_.bridgeRate()) return *rate;
  return CoreAudioUtils::nominalRate(core_.hardware(), device).value_or(kFallbackRate);
}

std::expected<BusOutputs::Output, BusOutputs::StartFailure> BusOutputs::build(int bus) {
  const auto fail = [](const char* what, OSStatus status) {
    return std::unexpected(StartFailure{fmt::format("Failed to {}: {}", what, status)});
  };
  AudioHardware& hardware = core_.hardware();
  const auto device = CoreAudioUtils::deviceForBus(hardware, bus);
  if (!device)
    return std::unexpected(StartFailure{fmt::format("Sonmere Tone Ferry device {} not found.", bus)});
  if (!hardware.hasOutputComponent()) return std::unexpected(StartFailure{"Audio component not found."});
  auto unit = hardware.newOutputUnit();
  if (!unit) return fail("create output AudioUnit", unit.error());

  Output output{nullptr, std::move(*unit), *device, {}};
  if (const OSStatus status = output.unit->setCurrentDevice(*device); status != noErr)
    return fail("set output device", status);
  const double rate = chooseRate(bus, *device);
  if (const OSStatus status = output.unit->setStreamFormat(AudioScope::input, {rate, 2}); status != noErr)
    return fail("set stream format", status);
  output.context = std::make_shared<OutputAUContext>(core_.render, bus, rate);
  if (const OSStatus status = output.unit->setRenderCallback(renderBus, output.context.get());
      status != noErr)
    return fail("set render callback", status);
  if (const OSStatus status = output.unit->initialize(); status != noErr)
    return fail("initialize output AU", status);
  core_.retirement.addReader(output.context->reader);
  if (const OSStatus status = output.unit->start(); status != noErr) {
    output.unit->uninitialize();
    return fail("start output AU", status);
  }
  return output;
}

void BusOutputs::start(int bus) {
  if (!isBus(bus) || isRunning(bus) || closed_) return;
  auto built = build(bus);
  if (!built) {
    core_.fail(RoutingFailures::ofBus(bus), built.error().message);
    return;
  }
  Output& output = outputs_[std::size_t(bus)].emplace(std::move(*built));
  core_.failures.end(RoutingFailures::ofBus(bus));
  core_.log().info(fmt::format("Sonmere: Output AudioUnit started on bus {}", bus));
  reportGap(bus);
  if (didStart) didStart(bus);
  listenForRate(bus, output);
  // What gathered in the rings meanwhile would stay as delay. Asked only now: the old unit could take it.
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (clampBus(tap->busIndex) == bus) tap->trimKeepSamples = 0;
}

void BusOutputs::stop(int bus) {
  if (!isRunning(bus)) return;
  Output output = std::move(*outputs_[std::size_t(bus)]);
  outputs_[std::size_t(bus)].reset();
  output.context->retired = true;
  noteInterruption(bus, *output.context);
  core_.context.rendering.teardown.dispose(std::move(output.unit), output.context);
  core_.log().info(fmt::format("Sonmere: Output AudioUnit stopped on bus {}", bus));
}

void BusOutputs::noteInterruption(int bus, const OutputAUContext& context) {
  const std::uint64_t last = context.lastRenderHostTime;
  if (last != 0 && recordingRate && recordingRate(bus)) interruptedAt_[std::size_t(bus)] = last;
}

// The file goes on where it stopped: what was missed is told here only.
void BusOutputs::reportGap(int bus) {
  const auto last = std::exchange(interruptedAt_[std::size_t(bus)], std::nullopt);
  const std::uint64_t now = core_.hardware().hostTime();
  if (!last || now <= *last || !recordingRate || !recordingRate(bus)) return;
  core_.log().warning(
      fmt::format("Sonmere: the recording of bus {} has a gap of {:.3f} s", bus, double(now - *last) / 1e9));
}

bool BusOutputs::isWanted(int bus) const {
  const auto& lists = core_.render->activeTapsByBus.current();
  const bool hasTaps = lists && !lists->buses[std::size_t(bus)].empty();
  return hasTaps || core_.context.micSend.gains[std::size_t(bus)] > MicSend::kAudibleGain;
}

void BusOutputs::reconcile(int bus) {
  if (!isWanted(bus)) core_.failures.end(RoutingFailures::ofBus(bus));
  if (isWanted(bus) == isRunning(bus)) return;
  isWanted(bus) ? start(bus) : stop(bus);
}

void BusOutputs::reconcileDevices() {
  for (int bus = 0; bus < kBusCount; ++bus) {
    if (isRunning(bus) &&
        CoreAudioUtils::deviceForBus(core_.hardware(), bus) != outputs_[std::size_t(bus)]->device)
      stop(bus);
  }
  retryMissing();
}

void BusOutputs::retryMissing() {
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isWanted(bus) && !isRunning(bus) && CoreAudioUtils::deviceForBus(core_.hardware(), bus)) start(bus);
}

// The bus follows bus 0, and its own device too, since the unit would convert between two rates otherwise.
void BusOutputs::listenForRate(int bus, Output& output) {
  const auto listen = [&](PropertyListener& listener, AudioDeviceID device) {
    listener.listen(core_.hardware(), device, AudioProperty::nominalSampleRate, core_.runtime().mainQueue(),
                    [this, bus] { checkRate(bus); });
  };
  listen(output.rateListeners[0], output.device);
  if (bus == kBridgeBus) return;
  if (const auto bridge = CoreAudioUtils::deviceForBus(core_.hardware(), kBridgeBus))
    listen(output.rateListeners[1], *bridge);
}

void BusOutputs::checkRate(int bus) {
  if (!isRunning(bus)) return;
  const Output& output = *outputs_[std::size_t(bus)];
  if (std::abs(chooseRate(bus, output.device) - output.context->sampleRate) < kSameRateHz) return;
  stop(bus);
  start(bus);
}

}  // namespace sonmere
