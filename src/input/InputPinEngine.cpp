#include "input/InputPinEngine.h"

#include <fmt/format.h>

#include "audio/device/CoreAudioUtils.h"
#include "base/ThreadRules.h"
#include "input/MicDevices.h"

namespace sonmere {

namespace {
constexpr Duration kLaunchDelay = std::chrono::seconds(1);
constexpr Duration kDefaultChangeDelay = fromMilliseconds(400);
constexpr Duration kDeviceListDelay = std::chrono::seconds(1);
constexpr Duration kRestartDelay = std::chrono::seconds(2);
constexpr auto kRestoreWindow = std::chrono::seconds(10);
constexpr auto kBackoff = std::chrono::seconds(30);
constexpr std::size_t kMostRestores = 4;

void setOrRemove(SettingsStore& settings, const char* key, const std::optional<std::string>& value) {
  value && !value->empty() ? settings.set(key, *value) : settings.remove(key);
}
}  // namespace

InputPinEngine::InputPinEngine(EngineContext& context) : context_(context) {
  isEnabled.set(context.settings.boolValue(kEnabledKey));
  pinnedUID.set(context.settings.string(kDeviceUIDKey));
  pinnedName.set(context.settings.string(kDeviceNameKey));
}

void InputPinEngine::listen(AudioProperty property, bool refreshesList, Duration delay, const char* reason) {
  listeners_.emplace_back().listen(context_.hardware(), kAudioObjectSystemObject, property,
                                   context_.runtime.mainQueue(), [this, refreshesList, delay, reason] {
                                     if (refreshesList) refreshInputs();
                                     schedule(delay, reason);
                                   });
}

void InputPinEngine::launch() {
  assertMain();
  refreshInputs();
  listen(AudioProperty::defaultInput, false, kDefaultChangeDelay, "default input changed");
  listen(AudioProperty::devices, true, kDeviceListDelay, "device list changed");
  listen(AudioProperty::serviceRestarted, true, kRestartDelay, "coreaudiod restarted");
  schedule(kLaunchDelay, "launch");
}

void InputPinEngine::refreshInputs() {
  availableInputs.set(MicDevices::list(context_.hardware()));
  pinnedDevicePresent.set(
      CoreAudioUtils::deviceForUID(context_.hardware(), pinnedUID->value_or("")).has_value());
}

void InputPinEngine::setEnabled(bool enabled) {
  assertMain();
  isEnabled.set(enabled);
  context_.settings.set(kEnabledKey, enabled);
  schedule(Duration::zero(), "lock enabled");
}

void InputPinEngine::select(const MicDevice& device) {
  assertMain();
  pinnedUID.set(device.uid);
  pinnedName.set(device.name);
  setOrRemove(context_.settings, kDeviceUIDKey, device.uid);
  setOrRemove(context_.settings, kDeviceNameKey, device.name);
  refreshInputs();
  schedule(Duration::zero(), "lock enabled");
}

bool InputPinEngine::isBackingOff() const {
  return backoffUntil_ && *backoffUntil_ > context_.runtime.wallTime();
}

void InputPinEngine::schedule(Duration after, std::string reason) {
  enforceTask_ =
      context_.runtime.mainQueue().postAfter(after, [this, reason = std::move(reason)] { enforce(reason); });
}

// More than four restores in ten seconds: two programs must not fight at full speed.
bool InputPinEngine::mustBackOff(Date now) {
  std::erase_if(recentRestores_, [now](Date at) { return now - at > kRestoreWindow; });
  if (recentRestores_.size() <= kMostRestores) return false;
  context_.log.warning(fmt::format(
      "input pin backing off 30s — {} restores in 10s (another app fighting for the default input?)",
      recentRestores_.size()));
  backoffUntil_ = now + kBackoff;
  recentRestores_.clear();
  return true;
}

void InputPinEngine::enforce(const std::string& reason) {
  AudioHardware& hardware = context_.hardware();
  if (!*isEnabled || pinnedUID->value_or("").empty()) return;
  const auto device = CoreAudioUtils::deviceForUID(hardware, **pinnedUID);
  if (!device) {
    pinnedDevicePresent.set(false);
    context_.log.info(fmt::format("pinned input absent — standing down ({})", reason));
    return;
  }
  pinnedDevicePresent.set(true);
  if (CoreAudioUtils::defaultInput(hardware) == device || isBackingOff()) return;
  backoffUntil_.reset();
  const Date now = context_.runtime.wallTime();
  if (mustBackOff(now)) return;
  // A write that fails is tried again at the next change.
  hardware.setDefaultDevice(DefaultDevice::input, *device);
  recentRestores_.push_back(now);
  sessionRestoreCount.set(*sessionRestoreCount + 1);
  context_.log.info(fmt::format("restored pinned input ({})", reason));
}

}  // namespace sonmere
