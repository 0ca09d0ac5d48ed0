#include "routing/BusOutputs.h"

#include <fmt/format.h>

#include <utility>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {

std::string textOf(const OutputFailure& failure, int bus) {
  const auto failed = [&](const char* what) { return fmt::format("Failed to {}: {}", what, failure.status); };
  switch (failure.step) {
    case OutputStep::findDevice:
    case OutputStep::readRate:
      return fmt::format("Sonmere Tone Ferry device {} not found.", bus);
    case OutputStep::findComponent:
      return "Audio component not found.";
    case OutputStep::createUnit:
      return failed("create output AudioUnit");
    case OutputStep::setDevice:
      return failed("set output device");
    case OutputStep::setFormat:
      return failed("set stream format");
    case OutputStep::setCallback:
      return failed("set render callback");
    case OutputStep::initialize:
      return failed("initialize output AU");
    case OutputStep::start:
      return failed("start output AU");
  }
  return "";
}

}  // namespace

BusOutputs::BusOutputs(RoutingCore& core) : core_(core) {
  for (int bus = 0; bus < kBusCount; ++bus) {
    auto& made = runners_[std::size_t(bus)];
    made = std::make_unique<OutputRunner>(core.context.rendering, plan(bus));
    made->outdated = [this, bus] { check(bus); };
  }
}

BusOutputs::~BusOutputs() { close(); }

// The bus follows bus 0, and its own device too, since the unit would convert between two rates otherwise.
OutputRunner::Plan BusOutputs::plan(int bus) {
  OutputRunner::Plan plan;
  plan.device = [this, bus] { return CoreAudioUtils::deviceForBus(core_.hardware(), bus); };
  plan.rate = [this, bus](AudioDeviceID device) { return chooseRate(bus, device); };
  plan.callback = renderBus;
  plan.makeContext = [this, bus](AudioDeviceID, double rate) {
    return std::make_shared<OutputAUContext>(core_.render, bus, rate);
  };
  if (bus == kBridgeBus) return plan;
  plan.alsoWatched = [this]() -> std::vector<OutputRunner::Property> {
    const auto bridge = core_.bridge();
    if (!bridge) return {};
    return {{*bridge, AudioProperty::nominalSampleRate}};
  };
  return plan;
}

void BusOutputs::close() {
  closed_ = true;
  dropAll();
}

void BusOutputs::dropAll() {
  for (int bus = 0; bus < kBusCount; ++bus) stop(bus);
}

std::optional<double> BusOutputs::sampleRate(int bus) const {
  if (!isRunning(bus)) return std::nullopt;
  return runner(bus).sampleRate();
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

void BusOutputs::start(int bus) {
  if (!isBus(bus) || isRunning(bus) || closed_) return;
  if (const auto started = runner(bus).start(); !started)
    return core_.fail(RoutingFailures::ofBus(bus), textOf(started.error(), bus));
  core_.failures.end(RoutingFailures::ofBus(bus));
  core_.log().info(fmt::format("Sonmere: Output AudioUnit started on bus {}", bus));
  reportGap(bus);
  if (didStart) didStart(bus);
  // What gathered in the rings meanwhile would stay as delay. Asked only now: the old unit could take it.
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (clampBus(tap->busIndex) == bus) tap->ring.requests.trim = true;
  changes.set(*changes + 1);
}

void BusOutputs::stop(int bus) {
  if (!isRunning(bus)) return;
  noteInterruption(bus);
  runner(bus).stop();
  core_.log().info(fmt::format("Sonmere: Output AudioUnit stopped on bus {}", bus));
  changes.set(*changes + 1);
}

void BusOutputs::noteInterruption(int bus) {
  const std::uint64_t last = runner(bus).context()->lastRenderHostTime;
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
  if (bus == kBridgeBus && core_.context.flags.dualMono) return true;
  return hasTaps || core_.context.micSend.gains[std::size_t(bus)] > MicSend::kAudibleGain;
}

void BusOutputs::reconcile(int bus) {
  if (!isWanted(bus)) core_.failures.end(RoutingFailures::ofBus(bus));
  if (isWanted(bus) == isRunning(bus)) return;
  isWanted(bus) ? start(bus) : stop(bus);
}

void BusOutputs::reconcileDevices() {
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isRunning(bus) && CoreAudioUtils::deviceForBus(core_.hardware(), bus) != runner(bus).device())
      stop(bus);
  retryMissing();
}

void BusOutputs::retryMissing() {
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isWanted(bus) && !isRunning(bus) && CoreAudioUtils::deviceForBus(core_.hardware(), bus)) start(bus);
}

void BusOutputs::check(int bus) {
  if (!isRunning(bus) || runner(bus).isAsPlanned()) return;
  stop(bus);
  if (CoreAudioUtils::deviceForBus(core_.hardware(), bus)) start(bus);
}

}  // namespace sonmere
