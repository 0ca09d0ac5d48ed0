#include "system/CombinedInputEngine.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/SettleTimes.h"
#include "base/ThreadRules.h"

namespace sonmere {

namespace {
constexpr std::size_t kLeastDevices = 2;
constexpr const char* kTooFew = "Pick at least two devices.";
}  // namespace

CombinedInputEngine::CombinedInputEngine(EngineContext& context) : context_(context) {
  Wish saved{context.settings.stringArray(kDevicesKey).value_or(std::vector<std::string>{}),
             context.settings.string(kNameKey).value_or(kDefaultName)};
  if (saved.devices.size() >= kLeastDevices) wish.set(std::move(saved));
}

void CombinedInputEngine::launch() {
  assertMain();
  registration_ = context_.routes.add(*this);
  if (!wish->devices.empty()) make();
}

bool CombinedInputEngine::create(const Wish& wanted) {
  assertMain();
  if (wanted.devices.size() < kLeastDevices) {
    errorMessage.set(kTooFew);
    return false;
  }
  wish.set(wanted);
  store();
  return make();
}

void CombinedInputEngine::remove() {
  assertMain();
  wish.set({});
  store();
  if (destroyPresent()) errorMessage.set(std::nullopt);
}

void CombinedInputEngine::store() {
  if (wish->devices.empty()) {
    context_.settings.remove(kDevicesKey);
    context_.settings.remove(kNameKey);
    return;
  }
  context_.settings.set(kDevicesKey, SettingsValue::Array(wish->devices.begin(), wish->devices.end()));
  context_.settings.set(kNameKey, wish->name);
}

bool CombinedInputEngine::destroyPresent() {
  const auto there = CoreAudioUtils::deviceForUID(context_.hardware(), kCombinedInputUID);
  if (!there) return true;
  const OSStatus status = context_.hardware().destroyAggregateDevice(*there);
  if (status == noErr) return device.set(std::nullopt), true;
  errorMessage.set(fmt::format("CoreAudio couldn't remove the combined device (error {}).", status));
  return false;
}

bool CombinedInputEngine::make() {
  if (!destroyPresent()) return false;
  AggregateDescription description;
  description.uid = kCombinedInputUID;
  description.name = wish->name;
  description.isPrivate = false;
  description.sides = AggregateSides::input;
  description.master = wish->devices.front();
  for (const std::string& uid : wish->devices) description.subDevices.push_back({uid, true});
  const auto made = context_.hardware().createAggregateDevice(description);
  if (!made) {
    errorMessage.set(fmt::format("CoreAudio couldn't create the combined device (error {}).", made.error()));
    context_.log.error("Sonmere CombinedInput: " + **errorMessage);
    return false;
  }
  settle(context_.runtime, settleTimes(context_.hardware()).publicAggregate);
  errorMessage.set(std::nullopt);
  device.set(*made);
  context_.log.info(fmt::format("Sonmere CombinedInput: created '{}' (ID: {})", wish->name, *made));
  return true;
}

void CombinedInputEngine::serverLost() {
  assertMain();
  device.set(std::nullopt);
}

void CombinedInputEngine::revalidate(RevalidationReason) {
  assertMain();
  if (wish->devices.empty()) return;
  const auto there = CoreAudioUtils::deviceForUID(context_.hardware(), kCombinedInputUID);
  if (there != *device) device.set(there);
  const auto isPresent = [this](const std::string& uid) {
    return CoreAudioUtils::deviceForUID(context_.hardware(), uid).has_value();
  };
  if (!there && std::ranges::any_of(wish->devices, isPresent)) make();
}

RouteHealthEntry CombinedInputEngine::health() const {
  RouteHealthEntry entry{"combined-input", "Combined Input", RouteHealthVerdict::healthy,
                         errorMessage->value_or("")};
  if (wish->devices.empty())
    entry.verdict = RouteHealthVerdict::inactive;
  else if (!*device)
    entry.verdict = RouteHealthVerdict::broken;
  return entry;
}

}  // namespace sonmere
