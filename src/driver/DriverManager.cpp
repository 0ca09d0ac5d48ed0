#include "driver/DriverManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/device/BusTable.h"
#include "audio/device/CoreAudioUtils.h"
#include "base/ThreadRules.h"

namespace sonmere {

namespace {

constexpr const char* kRateKey = "sonmere.bridgeSampleRate";
constexpr double kSameRate = 1.0;  // Hz
// A change of rate arrives in steps.
constexpr Duration kOwnChange = std::chrono::seconds(3);
constexpr Duration kFirstCorrection = fromMilliseconds(1500);
constexpr Duration kSecondCorrection = std::chrono::seconds(4);

bool isPickable(double rate) {
  return std::ranges::find(DriverManager::kRates, rate) != DriverManager::kRates.end();
}
bool isSame(double a, double b) { return std::abs(a - b) <= kSameRate; }

}  // namespace

DriverManager::DriverManager(EngineContext& context, DriverInstaller* installer)
    : context_(context), installer_(installer) {
  const double saved = context.settings.number(kRateKey).value_or(0);
  if (isPickable(saved)) selectedSampleRate.set(saved);
}

DriverManager::~DriverManager() = default;

void DriverManager::launch() {
  assertMain();
  registration_ = context_.routes.add(*this);
  devices_ = context_.devices.devices().observe([this](const auto&) { refreshStatus(); });
  refreshStatus();
}

void DriverManager::refreshStatus() {
  assertMain();
  lookAtDisk();
  lookAtBridge();
}

void DriverManager::lookAtDisk() {
  if (installer_) disk_ = installer_->look();
  isInstalled.setIfChanged(installer_ ? disk_.state >= DriverOnDisk::State::old : *isActive);
  pathWarning.setIfChanged(disk_.problem);
}

void DriverManager::lookAtBridge() {
  const auto bridge = CoreAudioUtils::deviceForBus(context_.hardware(), kBridgeBus);
  if (!bridge) {
    running_.stop();
    deviceID_.reset();
    isActive.setIfChanged(false);
    return isAudioFlowing.setIfChanged(false);
  }
  if (deviceID_ != bridge) follow(*bridge);
  if (!*isActive) {
    isActive.set(true);
    if (!installer_) isInstalled.set(true);
    restoreRate(*bridge);
  }
  isAudioFlowing.setIfChanged(context_.hardware().isRunningSomewhere(*bridge).value_or(false));
  lookAtRate(*bridge);
}

void DriverManager::follow(AudioDeviceID bridge) {
  deviceID_ = bridge;
  running_.stop();
  (void)running_.listen(context_.hardware(), bridge, AudioProperty::isRunningSomewhere,
                        context_.runtime.mainQueue(), [this] { lookAtBridge(); });
}

void DriverManager::serverLost() {
  assertMain();
  running_.stop();
  deviceID_.reset();
  isActive.setIfChanged(false);
  isAudioFlowing.setIfChanged(false);
}

// What was picked comes back with the driver, unless somebody is using it at another rate.
void DriverManager::restoreRate(AudioDeviceID bridge) {
  const double saved = context_.settings.number(kRateKey).value_or(0);
  const auto rate = CoreAudioUtils::nominalRate(context_.hardware(), bridge);
  if (!isPickable(saved) || !rate || isSame(saved, *rate) || !mayRestore(bridge, saved)) return;
  context_.log.info(fmt::format("restoring saved rate {:f} Hz (bridge at {:f} Hz)", saved, *rate));
  selectedSampleRate.setIfChanged(saved);
  apply(saved);
}

bool DriverManager::mayRestore(AudioDeviceID bridge, double rate) {
  const SettingsStore& settings = context_.settings;
  const bool isRouted =
      settings.boolValue("systemAudio_isEnabled") || settings.boolValue("sonmere.sap.restoreAfterUpdate");
  if (isRouted || context_.hardware().isRunningSomewhere(bridge).value_or(false)) {
    context_.log.info(fmt::format("not restoring {:f} Hz: the bridge is in use", rate));
    return false;
  }
  const auto uid = settings.string("sonmere.micPassthrough.selectedMicUID");
  if (!settings.boolValue("sonmere.micPassthrough.enabled") || !uid) return true;
  const auto mic = CoreAudioUtils::deviceForUID(context_.hardware(), *uid);
  if (!mic || CoreAudioUtils::hasAvailableRate(context_.hardware(), *mic, rate)) return true;
  context_.log.info(fmt::format("not restoring {:f} Hz: the selected input can't run at it", rate));
  return false;
}

// Moved from outside, the bridge's rate is the one that is picked from now on; it is not written back.
void DriverManager::lookAtRate(AudioDeviceID bridge) {
  const auto rate = CoreAudioUtils::nominalRate(context_.hardware(), bridge);
  if (!rate || *rate == *selectedSampleRate) return;
  if (lastApply_ && context_.runtime.uptime() - *lastApply_ <= kOwnChange) {
    laterLook_ = context_.runtime.mainQueue().postAfter(
        *lastApply_ + kOwnChange + fromMilliseconds(1) - context_.runtime.uptime(),
        [this] { lookAtBridge(); });
    return;
  }
  selectedSampleRate.set(*rate);
  // Until the user has picked one there is none to come back to.
  if (context_.settings.object(kRateKey)) context_.settings.set(kRateKey, *rate);
  applyFrom_.reset();
  correctIn(kFirstCorrection, firstCorrection_);
  correctIn(kSecondCorrection, secondCorrection_);
}

bool DriverManager::setSampleRate(double rate) {
  assertMain();
  if (!isPickable(rate)) return false;
  selectedSampleRate.setIfChanged(rate);
  context_.settings.set(kRateKey, rate);
  apply(rate);
  return true;
}

std::optional<double> DriverManager::busRate(int bus) const {
  const auto device = CoreAudioUtils::deviceForBus(context_.hardware(), bus);
  return device ? CoreAudioUtils::nominalRate(context_.hardware(), *device) : std::nullopt;
}

void DriverManager::apply(double rate) {
  const auto buses = CoreAudioUtils::allBusDevices(context_.hardware());
  if (buses.empty()) return;
  lastApply_ = context_.runtime.uptime();
  applyFrom_ = busRate(kBridgeBus);
  context_.log.info(fmt::format("apply {:f} Hz to {} buses", rate, buses.size()));
  // One that fails is left to the corrections.
  for (const AudioDeviceID bus : buses) (void)context_.hardware().setNominalSampleRate(bus, rate);
  correctIn(kFirstCorrection, firstCorrection_);
  correctIn(kSecondCorrection, secondCorrection_);
}

void DriverManager::correctIn(Duration delay, ScopedTask& task) {
  task = context_.runtime.mainQueue().postAfter(delay, [this] { correct(); });
}

// All follow the bridge, whatever was picked: it is the rate master.
void DriverManager::correct() {
  const auto master = busRate(kBridgeBus);
  if (!master) return;
  if (applyFrom_ && *applyFrom_ == *master && *master != *selectedSampleRate)
    return context_.log.info(
        fmt::format("bus 0 still at {:f} Hz from before the change: not correcting yet", *master));
  for (int bus = 1; bus < kBusCount; ++bus) {
    const auto rate = busRate(bus);
    if (!rate || isSame(*rate, *master)) continue;
    context_.log.info(fmt::format("bus {} at {:f} Hz, bus 0 at {:f} Hz: correcting", bus, *rate, *master));
    const auto device = CoreAudioUtils::deviceForBus(context_.hardware(), bus);
    if (device) (void)context_.hardware().setNominalSampleRate(*device, *master);
  }
}

RouteHealthEntry DriverManager::health() const {
  RouteHealthEntry entry{"driver", "Driver", RouteHealthVerdict::healthy, ""};
  if (*isActive) return entry;
  if (!*isInstalled) return {"driver", "Driver", RouteHealthVerdict::inactive, "Driver not installed"};
  return {"driver", "Driver", RouteHealthVerdict::broken, "Bridge device not resolving — try Repair Driver"};
}

}  // namespace sonmere
