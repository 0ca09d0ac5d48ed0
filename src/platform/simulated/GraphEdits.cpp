#include "platform/simulated/GraphEdits.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/UUID.h"

namespace sonmere {

namespace {
constexpr std::uint32_t kMinimumFrames = 14;
constexpr std::uint32_t kMaximumFrames = 16384;
constexpr double kRateTolerance = 1.0;
// Rates that an aggregate of taps converts to, Hz.
constexpr double kTapRates[2] = {8000, 192000};
}  // namespace

std::vector<AudioValueRange> GraphEdits::availableRates(const SimulatedEndpoint& endpoint) const {
  std::vector<AudioValueRange> ranges;
  if (const SimulatedDevice* device = graph_.device(endpoint.id)) {
    for (const double rate : device->description().availableRates) ranges.push_back({rate, rate});
  } else if (const SimulatedAggregate* aggregate = graph_.aggregate(endpoint.id)) {
    const SimulatedEndpoint* clock = graph_.endpoint(aggregate->clock);
    if (!aggregate->hasMembers()) return {{kTapRates[0], kTapRates[1]}};
    if (clock) return availableRates(*clock);
  }
  return ranges;
}

std::optional<double> GraphEdits::nearestRate(const SimulatedEndpoint& endpoint, double rate) const {
  std::optional<double> nearest;
  for (const AudioValueRange& range : availableRates(endpoint)) {
    const double possible = std::clamp(rate, range.minimum, range.maximum);
    if (!(std::abs(possible - rate) <= kRateTolerance)) continue;
    if (!nearest || std::abs(possible - rate) < std::abs(*nearest - rate)) nearest = possible;
  }
  return nearest;
}

OSStatus GraphEdits::setNominalSampleRate(AudioDeviceID id, double rate) {
  SimulatedEndpoint* endpoint = graph_.endpoint(id);
  if (!endpoint) return kAudioHardwareBadObjectError;
  const auto possible = nearestRate(*endpoint, rate);
  if (!possible) return kAudioDeviceUnsupportedFormatError;
  rate = *possible;
  if (SimulatedAggregate* aggregate = graph_.aggregate(id)) {
    if (aggregate->hasMembers()) return setNominalSampleRate(aggregate->clock, rate);
    world_.change([&] { aggregate->wantedRate = rate; });
    return noErr;
  }
  if (world_.options().sampleRateIsShared)
    for (const auto& [other, device] : std::map(graph_.devices)) applyRate(device->uid, rate);
  else
    applyRate(endpoint->uid, rate);
  return noErr;
}

void GraphEdits::applyRate(const std::string& uid, double rate) {
  const auto apply = [uid, rate](SimulatedWorld& world) {
    SimulatedEndpoint* found = world.graph().endpointForUID(uid);
    if (!found || !world.graph().device(found->id) || found->sampleRate == rate) return;
    world.note(fmt::format("{} runs at {} Hz", uid, rate));
    world.change([&] { found->sampleRate = rate; });
  };
  const SimulatedEndpoint* found = graph_.endpointForUID(uid);
  const SimulatedDevice* device = found ? graph_.device(found->id) : nullptr;
  if (!device || device->description().rateChangeDelay <= Duration::zero()) return apply(world_);
  // The server's own work: it goes on while the program's main queue waits for it.
  world_.runtime().globalQueue().postAfter(device->description().rateChangeDelay,
                                           [weak = world_.weak_from_this(), apply] {
                                             if (const auto world = weak.lock())
                                               world->locked([&] { apply(*world); });
                                           });
}

OSStatus GraphEdits::setBufferFrameSize(AudioDeviceID id, std::uint32_t frames) {
  SimulatedEndpoint* endpoint = graph_.endpoint(id);
  if (!endpoint) return kAudioHardwareBadObjectError;
  if (frames < kMinimumFrames || frames > kMaximumFrames) return kAudioHardwareIllegalOperationError;
  SimulatedAggregate* aggregate = graph_.aggregate(id);
  if (aggregate && aggregate->hasMembers()) return setBufferFrameSize(aggregate->clock, frames);
  world_.change([&] {
    if (aggregate)
      aggregate->wantedFrames = frames;
    else
      endpoint->bufferFrames = frames;
  });
  return noErr;
}

OSStatus GraphEdits::setDefaultDevice(DefaultDevice role, AudioDeviceID id) {
  const SimulatedEndpoint* endpoint = graph_.endpoint(id);
  if (!endpoint) return kAudioHardwareBadDeviceError;
  const SimulatedAggregate* aggregate = graph_.aggregate(id);
  const bool isInput = role == DefaultDevice::input;
  if ((isInput ? endpoint->inputChannels : endpoint->outputChannels) == 0)
    return kAudioHardwareIllegalOperationError;
  // Alerts don't play through an aggregate, and nothing private becomes a default.
  if (aggregate && (role == DefaultDevice::systemOutput || aggregate->description.isPrivate))
    return kAudioHardwareIllegalOperationError;
  if (graph_.defaultFor(role) == id) return noErr;
  constexpr const char* kRoles[] = {"output", "input", "system output"};
  world_.note(fmt::format("default {}: {}", kRoles[std::size_t(role)], endpoint->uid));
  world_.change([&] { graph_.defaultFor(role) = id; });
  return noErr;
}

Result<AudioObjectID> GraphEdits::createProcessTap(const TapDescription& description) {
  if (!world_.options().supportsProcessTaps) return std::unexpected(kAudioHardwareIllegalOperationError);
  if (!graph_.allows(Permission::audioCapture)) return std::unexpected(kAudioDevicePermissionsError);
  for (const AudioObjectID process : description.processes)
    if (!graph_.process(process)) return std::unexpected(kAudioHardwareBadObjectError);
  const SimulatedTap tap{world_.newObjectID(), makeUUID(world_.runtime()), description};
  world_.note(fmt::format("tap {} \"{}\" of {}{} processes{}", tap.id, description.name,
                          description.exclusive ? "all but " : "", description.processes.size(),
                          description.mute == TapMute::muted ? ", muted" : ""));
  world_.change([&] { graph_.taps[tap.id] = tap; });
  return tap.id;
}

OSStatus GraphEdits::destroyProcessTap(AudioObjectID tap) {
  if (!graph_.taps.contains(tap)) return kAudioHardwareBadObjectError;
  world_.note(fmt::format("tap {} destroyed", tap));
  world_.change([&] { graph_.taps.erase(tap); });
  return noErr;
}

OSStatus GraphEdits::checkAggregate(const AggregateDescription& description) const {
  if (description.uid.empty() || graph_.endpointForUID(description.uid))
    return kAudioHardwareIllegalOperationError;
  if (description.subDevices.empty() && description.tapUIDs.empty())
    return kAudioHardwareIllegalOperationError;
  bool masterIsListed = description.master.empty();
  for (const auto& member : description.subDevices) {
    const SimulatedEndpoint* found = graph_.endpointForUID(member.uid);
    if (!found) return kAudioHardwareBadDeviceError;
    // Aggregates don't nest.
    if (!graph_.device(found->id)) return kAudioHardwareIllegalOperationError;
    masterIsListed |= member.uid == description.master;
  }
  if (!description.subDevices.empty() && !masterIsListed) return kAudioHardwareBadDeviceError;
  for (const std::string& uid : description.tapUIDs)
    if (!graph_.tapForUID(uid)) return kAudioHardwareBadObjectError;
  return noErr;
}

Result<AudioDeviceID> GraphEdits::createAggregateDevice(const AggregateDescription& description) {
  if (const OSStatus status = checkAggregate(description)) return std::unexpected(status);
  auto aggregate = std::make_shared<SimulatedAggregate>();
  aggregate->id = world_.newObjectID();
  aggregate->uid = description.uid;
  aggregate->name = description.name;
  aggregate->transport = TransportType::aggregate;
  aggregate->description = description;
  world_.note(fmt::format("aggregate {} {}", aggregate->id, description.uid));
  world_.change([&] { graph_.aggregates[aggregate->id] = aggregate; });
  return aggregate->id;
}

OSStatus GraphEdits::destroyAggregateDevice(AudioDeviceID id) {
  SimulatedAggregate* aggregate = graph_.aggregate(id);
  if (!aggregate) return kAudioHardwareBadObjectError;
  world_.note(fmt::format("aggregate {} {} destroyed", id, aggregate->uid));
  world_.change([&] {
    std::erase_if(graph_.ioProcs, [&](const auto& entry) { return entry.second.device == id; });
    graph_.aggregates.erase(id);
  });
  return noErr;
}

}  // namespace sonmere
