#include "system/DAWAggregateEngine.h"

#include <fmt/format.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/SettleTimes.h"
#include "base/ThreadRules.h"

namespace sonmere {

namespace {

constexpr const char* kName = "Sonmere Multi-Track";
constexpr const char* kNoTracks =
    "Couldn't find all 8 Sonmere Track devices — the Sonmere Tone Ferry driver may not be loaded yet. "
    "Reinstall "
    "or relaunch and try again.";

std::optional<AudioDeviceID> present(AudioHardware& hardware) {
  return CoreAudioUtils::deviceForUID(hardware, kDAWDeviceUID);
}

}  // namespace

DAWAggregateEngine::DAWAggregateEngine(EngineContext& context) : context_(context) {
  isEnabled.set(context.settings.boolValue(kEnabledKey));
}

void DAWAggregateEngine::launch() {
  assertMain();
  registration_ = context_.routes.add(*this);
  if (!*isEnabled) return;
  if (const auto left = present(context_.hardware())) destroy(*left);
  ensure();
}

void DAWAggregateEngine::setEnabled(bool enabled) {
  assertMain();
  if (enabled != *isEnabled) {
    context_.settings.set(kEnabledKey, enabled);
    isEnabled.set(enabled);
  }
  if (enabled) return ensure();
  if (const auto there = present(context_.hardware())) destroy(*there);
  if (*errorMessage && !present(context_.hardware())) errorMessage.set(std::nullopt);
}

void DAWAggregateEngine::ensure() {
  assertMain();
  const auto there = present(context_.hardware());
  there ? publish(there) : create();
}

// Nothing while a Track is missing.
std::optional<AggregateDescription> DAWAggregateEngine::describe() const {
  AggregateDescription description;
  description.uid = kDAWDeviceUID;
  description.name = kName;
  description.isPrivate = false;
  description.master = kBusUIDs[kFirstTrackBus];
  for (int bus = kFirstTrackBus; bus < kBusCount; ++bus) {
    if (!CoreAudioUtils::deviceForBus(context_.hardware(), bus)) return std::nullopt;
    description.subDevices.push_back({std::string(kBusUIDs[std::size_t(bus)]), true});
  }
  return description;
}

void DAWAggregateEngine::create() {
  const auto description = describe();
  if (!description) return fail(kNoTracks);
  const auto made = context_.hardware().createAggregateDevice(*description);
  if (!made) {
    context_.log.error(
        fmt::format("Sonmere DAWAggregate: AudioHardwareCreateAggregateDevice failed: {}", made.error()));
    return fail(fmt::format("Couldn't create the DAW aggregate device (CoreAudio error {}).", made.error()));
  }
  errorMessage.set(std::nullopt);
  settle(context_.runtime, settleTimes(context_.hardware()).publicAggregate);
  publish(*made);
  context_.log.info(fmt::format("Sonmere DAWAggregate: created '{}' (ID: {})", kName, *made));
}

bool DAWAggregateEngine::destroy(AudioDeviceID device) {
  const OSStatus status = context_.hardware().destroyAggregateDevice(device);
  if (status == noErr) {
    context_.log.info(fmt::format("Sonmere DAWAggregate: destroyed (ID: {})", device));
    publish(std::nullopt);
    return true;
  }
  context_.log.error(fmt::format("Sonmere DAWAggregate: destroy failed (ID: {}): {}", device, status));
  errorMessage.set(fmt::format("Couldn't remove the DAW aggregate device (CoreAudio error {}).", status));
  return false;
}

void DAWAggregateEngine::recoverIfNeeded() {
  if (!*isEnabled) return;
  const auto there = present(context_.hardware());
  if (there) return publish(there);
  context_.log.info("Sonmere DAWAggregate: recovery — aggregate missing while enabled, re-ensuring");
  publish(std::nullopt);
  create();
}

void DAWAggregateEngine::manualReset() {
  assertMain();
  const auto there = present(context_.hardware());
  if (*isEnabled) {
    context_.log.info("Sonmere DAWAggregate: manual reset — destroying and recreating");
    if (!there || destroy(*there)) create();
  } else if (there) {
    context_.log.info("Sonmere DAWAggregate: manual reset — sweeping stray aggregate while disabled");
    destroy(*there);
  }
}

void DAWAggregateEngine::fail(const std::string& message) {
  if (message == *errorMessage) return;
  context_.log.error("Sonmere DAWAggregate: " + message);
  errorMessage.set(message);
}

void DAWAggregateEngine::publish(std::optional<AudioDeviceID> device) {
  if (device != *aggregateDeviceID) aggregateDeviceID.set(device);
}

void DAWAggregateEngine::serverLost() {
  assertMain();
  publish(std::nullopt);
}

void DAWAggregateEngine::revalidate(RevalidationReason) {
  assertMain();
  recoverIfNeeded();
}

void DAWAggregateEngine::reset(ResetRoutingResult& result) {
  assertMain();
  manualReset();
  result.rebuiltDAWDevice = aggregateDeviceID->has_value();
}

RouteHealthEntry DAWAggregateEngine::health() const {
  const auto entry = [](RouteHealthVerdict verdict, std::string detail) {
    return RouteHealthEntry{"daw", "DAW Device", verdict, std::move(detail)};
  };
  if (!*isEnabled) return entry(RouteHealthVerdict::inactive, "");
  if (!present(context_.hardware()))
    return entry(RouteHealthVerdict::broken,
                 errorMessage->value_or("Multi-track device missing — restoring"));
  int resolving = 0;
  for (int bus = kFirstTrackBus; bus < kBusCount; ++bus)
    if (CoreAudioUtils::deviceForBus(context_.hardware(), bus)) ++resolving;
  const bool isWhole = resolving == kBusCount - kFirstTrackBus;
  return entry(isWhole ? RouteHealthVerdict::healthy : RouteHealthVerdict::degraded,
               fmt::format("{} tracks{}", resolving, isWhole ? "" : " resolving"));
}

// Tells what it found, before that is mended.
RouteHealthEntry DAWAggregateEngine::check(RevalidationReason) {
  assertMain();
  const RouteHealthEntry found = health();
  recoverIfNeeded();
  return found;
}

}  // namespace sonmere
