#include "routing/monitor/MonitorOutput.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/engine/Rates.h"
#include "base/ThreadRules.h"
#include "routing/monitor/MonitorRender.h"

namespace sonmere {

namespace {

constexpr const char* kDeviceKey = "sonmere.monitor.outputDeviceUID";
constexpr const char* kNameKey = "sonmere.monitor.outputDeviceName";
// Changes come in bursts: one rebuild, this long after the last.
constexpr Duration kRebuildDelay = fromMilliseconds(350);

constexpr const char* kDefaultChanged = "system default output changed (follow mode)";
constexpr const char* kDeviceChanged = "bound device changed rate/liveness/data source";
constexpr const char* kBridgeChanged = "bridge sample rate changed";

// The user's own of the devices that the system's sound goes to.
std::optional<AudioDeviceID> pairedOutput(AudioHardware& hardware, AudioDeviceID multiOutput) {
  for (const std::string& uid : hardware.fullSubDeviceList(multiOutput).value_or(std::vector<std::string>{}))
    if (!CoreAudioUtils::isOwnDeviceUID(uid)) return CoreAudioUtils::deviceForUID(hardware, uid);
  return std::nullopt;
}

}  // namespace

MonitorOutput::MonitorOutput(EngineContext& context)
    : context_(context),
      chosenUID_(context.settings.string(kDeviceKey).value_or("")),
      runner_(context.rendering, plan()),
      watchdog_(context.runtime, context.hardware()) {
  if (!isFollowing()) monitorOutputDeviceName.set(context.settings.string(kNameKey).value_or(chosenUID_));
  watchdog_.stalled = [this](double seconds, int restarts) {
    context_.log.warning(
        fmt::format("Sonmere: Monitor has not rendered for {:.1f} s: restart {}", seconds, restarts));
    restart();
  };
}

MonitorOutput::~MonitorOutput() {
  sources_.cancel();
  stop();
  context_.rendering.waitForTeardown();
}

// At the rate of the bridge, so that no ring needs a conversion; the unit converts to that of its device.
OutputRunner::Plan MonitorOutput::plan() {
  OutputRunner::Plan plan;
  plan.device = [this] { return wantedDevice(); };
  plan.rate = [this](AudioDeviceID) { return bridgeRate(); };
  plan.callback = renderMonitor;
  plan.makeContext = [this](AudioDeviceID, double rate) {
    context_.monitors.startLive();
    return std::make_shared<MonitorContext>(context_.monitors.mix(), rate);
  };
  return plan;
}

// A default that is the program's own would lead what is heard back into where it comes from.
std::optional<AudioDeviceID> MonitorOutput::wantedDevice() const {
  AudioHardware& hardware = context_.hardware();
  if (!isFollowing()) return CoreAudioUtils::deviceForUID(hardware, chosenUID_);
  const auto device = CoreAudioUtils::defaultOutput(hardware);
  const auto uid = device ? CoreAudioUtils::deviceUID(hardware, *device) : std::nullopt;
  if (!uid) return std::nullopt;
  if (uid->starts_with(kMultiOutputUID)) return pairedOutput(hardware, *device);
  if (CoreAudioUtils::isOwnDeviceUID(*uid)) return std::nullopt;
  return device;
}

double MonitorOutput::bridgeRate() const {
  AudioHardware& hardware = context_.hardware();
  const auto bridge = CoreAudioUtils::deviceForBus(hardware, kBridgeBus);
  return bridge ? CoreAudioUtils::nominalRate(hardware, *bridge).value_or(kFallbackRate) : kFallbackRate;
}

void MonitorOutput::launch() {
  assertMain();
  registration_ = context_.routes.add(*this);
  monitorDefaultListener_.listen(context_.hardware(), kAudioObjectSystemObject, AudioProperty::defaultOutput,
                                 context_.runtime.mainQueue(), [this] {
                                   if (isFollowing() && runner_.isRunning()) scheduleRebuild(kDefaultChanged);
                                 });
  sources_ = context_.monitors.enabledCount.observe([this](int) { reconcile(); });
  readDevices();
  if (isWanted()) reconcile();
}

// The user's choice.

bool MonitorOutput::select(const std::string& uid) {
  assertMain();
  readDevices();
  const auto found = std::ranges::find(*availableMonitorDevices, uid, &CoreAudioUtils::OutputDevice::uid);
  if (found == availableMonitorDevices->end()) return false;
  choose(uid, found->name);
  return true;
}

void MonitorOutput::followDefault() {
  assertMain();
  choose("", kSystemDefault);
}

void MonitorOutput::choose(const std::string& uid, const std::string& name) {
  const bool isSame = uid == chosenUID_;
  chosenUID_ = uid;
  if (uid.empty()) {
    context_.settings.remove(kDeviceKey);
    context_.settings.remove(kNameKey);
  } else {
    context_.settings.set(kDeviceKey, uid);
    context_.settings.set(kNameKey, name);
  }
  monitorOutputDeviceName.set(name);
  readDevices();
  if (!isSame && isWanted()) restart();
}

void MonitorOutput::readDevices() {
  std::vector<CoreAudioUtils::OutputDevice> devices;
  std::optional<AudioDeviceID> chosen;
  for (const DeviceFacts& each : *context_.devices.devices()) {
    if (each.outputChannels == 0 || each.isOwn) continue;
    devices.push_back({each.id, each.name, each.uid});
    if (each.uid == chosenUID_) chosen = each.id;
  }
  availableMonitorDevices.setIfChanged(std::move(devices));
  monitorOutputDeviceID.setIfChanged(chosen);
}

// The unit.

void MonitorOutput::reconcile() {
  context_.log.info(fmt::format("AU lifecycle reconcile fired, count={}, monitorAU={}",
                                *context_.monitors.enabledCount, runner_.isRunning() ? "set" : "nil"));
  if (isWanted() == runner_.isRunning()) return;
  isWanted() ? start() : stop();
}

void MonitorOutput::start() {
  if (const auto started = runner_.start(); !started) return fail(textOf(started.error()));
  listen();
  watchdog_.watch(runner_.context());
  context_.log.info(fmt::format("Sonmere: Monitor AU started on device {}", runner_.device()));
  errorMessage.set(std::nullopt);
  monitorRunning.set(true);
}

void MonitorOutput::stop() {
  rebuild_.cancel();
  watchdog_.pause();
  for (PropertyListener* const each :
       {&rateListener_, &lifeListener_, &sourceListener_, &monitorBridgeRateListener_})
    each->stop();
  if (!isWanted() && *errorMessage) errorMessage.set(std::nullopt);
  if (!runner_.isRunning()) return;
  runner_.stop();
  context_.log.info("Sonmere: Monitor AU stopped");
  monitorRunning.set(false);
}

void MonitorOutput::restart() {
  stop();
  if (isWanted()) start();
}

void MonitorOutput::fail(const std::string& message) {
  if (message == *errorMessage) return;
  context_.log.error("Sonmere: " + message);
  errorMessage.set(message);
}

std::string MonitorOutput::textOf(const OutputFailure& failure) const {
  const auto failed = [&](const char* what) { return fmt::format("Failed to {}: {}", what, failure.status); };
  switch (failure.step) {
    case OutputStep::findDevice:
    case OutputStep::readRate:
      return isFollowing() ? "No audio output device available for monitoring."
                           : fmt::format("The monitor's device {} is not there.", *monitorOutputDeviceName);
    case OutputStep::findComponent:
      return "Audio component not found for monitor.";
    case OutputStep::createUnit:
      return failed("create monitor AudioUnit");
    case OutputStep::setDevice:
      return failed("set monitor output device");
    case OutputStep::setFormat:
      return failed("set monitor stream format");
    case OutputStep::setCallback:
      return failed("set monitor render callback");
    case OutputStep::initialize:
      return failed("initialize monitor AU");
    case OutputStep::start:
      return failed("start monitor AU");
  }
  return "";
}

// What changes around it.

void MonitorOutput::listen() {
  const auto add = [this](PropertyListener& listener, AudioObjectID object, AudioProperty property,
                          const char* reason, AudioScope scope = AudioScope::global) {
    listener.listen(
        context_.hardware(), object, property, context_.runtime.mainQueue(),
        [this, reason] { scheduleRebuild(reason); }, scope);
  };
  const AudioDeviceID device = runner_.device();
  add(rateListener_, device, AudioProperty::nominalSampleRate, kDeviceChanged);
  add(lifeListener_, device, AudioProperty::isAlive, kDeviceChanged);
  add(sourceListener_, device, AudioProperty::dataSource, kDeviceChanged, AudioScope::output);
  if (const auto bridge = CoreAudioUtils::deviceForBus(context_.hardware(), kBridgeBus))
    add(monitorBridgeRateListener_, *bridge, AudioProperty::nominalSampleRate, kBridgeChanged);
}

void MonitorOutput::scheduleRebuild(const char* reason) {
  context_.log.info(fmt::format("Sonmere: Monitor rebuild scheduled ({})", reason));
  rebuild_ = context_.runtime.mainQueue().postAfter(kRebuildDelay, [this] {
    rebuild_.cancel();
    if (isWanted()) restart();
  });
}

void MonitorOutput::serverLost() {
  assertMain();
  stop();
}

void MonitorOutput::suspend() {
  assertMain();
  rebuild_.cancel();
  watchdog_.pause();
}

// After a sleep a unit may run that nobody hears.
void MonitorOutput::revalidate(RevalidationReason reason) {
  assertMain();
  readDevices();
  if (!isWanted()) return;
  if (reason == RevalidationReason::wake || reason == RevalidationReason::manual) return restart();
  if (!runner_.isRunning()) return start();
  if (rebuild_ || runner_.isAsPlanned()) return;
  const bool isOtherDefault = isFollowing() && wantedDevice() != runner_.device();
  scheduleRebuild(isOtherDefault ? kDefaultChanged : kBridgeChanged);
}

RouteHealthEntry MonitorOutput::check(RevalidationReason) {
  assertMain();
  revalidate(RevalidationReason::deviceChange);
  return health();
}

RouteHealthEntry MonitorOutput::health() const {
  RouteHealthEntry entry{"monitor", "Monitor", RouteHealthVerdict::healthy, errorMessage->value_or("")};
  if (!isWanted())
    entry.verdict = RouteHealthVerdict::inactive;
  else if (!runner_.isRunning())
    entry.verdict = RouteHealthVerdict::broken;
  return entry;
}

}  // namespace sonmere
