#include "platform/simulated/SimulatedGraph.h"

#include <algorithm>
#include <set>

namespace sonmere {

SimulatedDevice* SimulatedGraph::device(AudioDeviceID id) const {
  const auto found = devices.find(id);
  return found == devices.end() ? nullptr : found->second.get();
}

SimulatedAggregate* SimulatedGraph::aggregate(AudioDeviceID id) const {
  const auto found = aggregates.find(id);
  return found == aggregates.end() ? nullptr : found->second.get();
}

SimulatedEndpoint* SimulatedGraph::endpoint(AudioDeviceID id) const {
  if (SimulatedDevice* found = device(id)) return found;
  return aggregate(id);
}

SimulatedEndpoint* SimulatedGraph::endpointForUID(std::string_view uid) const {
  for (const auto& [id, device] : devices)
    if (device->uid == uid) return device.get();
  for (const auto& [id, aggregate] : aggregates)
    if (aggregate->uid == uid) return aggregate.get();
  return nullptr;
}

SimulatedProcess* SimulatedGraph::process(AudioObjectID id) const {
  if (id == kAudioObjectUnknown) return nullptr;
  for (const auto& [pid, process] : processes)
    if (process->id == id) return process.get();
  return nullptr;
}

const SimulatedTap* SimulatedGraph::tapForUID(std::string_view uid) const {
  for (const auto& [id, tap] : taps)
    if (tap.uid == uid) return &tap;
  return nullptr;
}

bool SimulatedGraph::isSilenced(const SimulatedProcess& process) const {
  return std::ranges::any_of(taps, [&](const auto& entry) {
    return entry.second.description.mute == TapMute::muted && covers(entry.second, process);
  });
}

bool SimulatedGraph::hasOutputClients(AudioDeviceID id) const {
  return std::ranges::any_of(ioProcs,
                             [&](const auto& e) { return e.second.device == id && e.second.isStarted; }) ||
         std::ranges::any_of(units, [&](const auto& u) {
           return u->settings.device == id && u->settings.isStarted && u->settings.outputEnabled;
         });
}

bool SimulatedGraph::hasInputClients(AudioDeviceID id) const {
  return std::ranges::any_of(ioProcs,
                             [&](const auto& e) { return e.second.device == id && e.second.isStarted; }) ||
         std::ranges::any_of(units,
                             [&](const auto& u) {
                               return u->settings.device == id && u->settings.isStarted &&
                                      u->settings.inputEnabled;
                             }) ||
         std::ranges::any_of(captures, [&](const auto& c) { return c->device == id && c->isStarted; }) ||
         hasRecorders(id, true);
}

bool SimulatedGraph::hasPlayingProcesses(AudioDeviceID id) const {
  return std::ranges::any_of(processes,
                             [&](const auto& e) { return e.second->isPlaying && e.second->device == id; });
}

bool SimulatedGraph::hasRecorders(AudioDeviceID id, bool isInput) const {
  const SimulatedEndpoint* target = endpoint(id);
  return target && std::ranges::any_of(recorders, [&](const auto& weak) {
           const auto recorder = weak.lock();
           return recorder && recorder->isInput() == isInput && recorder->uid() == target->uid;
         });
}

bool SimulatedGraph::isTapAggregateActive(const SimulatedAggregate& aggregate) const {
  return aggregate.hasTaps() && hasInputClients(aggregate.id);
}

bool SimulatedGraph::isExpected(const SimulatedProcess& process) const {
  return !process.isOwn && std::ranges::any_of(expectations, [&](const auto& entry) {
    return entry.second.covers(process.description.bundleID);
  });
}

bool SimulatedGraph::isCaptured(const SimulatedProcess& process) const {
  return std::ranges::any_of(aggregates, [&](const auto& entry) {
    if (!isTapAggregateActive(*entry.second)) return false;
    return std::ranges::any_of(entry.second->description.tapUIDs, [&](const std::string& uid) {
      const SimulatedTap* tap = tapForUID(uid);
      return tap && covers(*tap, process);
    });
  });
}

void SimulatedGraph::resolve() {
  for (auto& [id, aggregate] : aggregates)
    if (aggregate->hasMembers()) resolveMembers(*aggregate);
  resolveDefaults();
  resolveProcesses();
  for (auto& [id, aggregate] : aggregates)
    if (!aggregate->hasMembers()) resolveTapClock(*aggregate);
  resolveRunning();
}

// A default that has gone is replaced by the first physical device, in the order of plugging in.
void SimulatedGraph::resolveDefaults() {
  for (std::size_t role = 0; role < defaults.size(); ++role) {
    if (endpoint(defaults[role])) continue;
    defaults[role] = kAudioObjectUnknown;
    const bool isInput = DefaultDevice(role) == DefaultDevice::input;
    for (const std::string& uid : plugOrder) {
      const SimulatedEndpoint* candidate = endpointForUID(uid);
      if (!candidate || candidate->transport == TransportType::virtualDevice) continue;
      if ((isInput ? candidate->inputChannels : candidate->outputChannels) == 0) continue;
      defaults[role] = candidate->id;
      break;
    }
  }
}

void SimulatedGraph::resolveMembers(SimulatedAggregate& aggregate) {
  const AggregateDescription& description = aggregate.description;
  const std::string& masterUID =
      description.master.empty() ? description.subDevices.front().uid : description.master;
  aggregate.members.clear();
  aggregate.clock = kAudioObjectUnknown;
  aggregate.outputChannels = 0;
  aggregate.inputChannels = description.tapUIDs.empty() ? 0 : 2;
  for (const auto& member : description.subDevices) {
    const SimulatedEndpoint* found = endpointForUID(member.uid);
    if (!found || !device(found->id)) continue;
    aggregate.members.push_back(found->id);
    if (member.uid == masterUID) aggregate.clock = found->id;
    if (description.has(AudioScope::input)) aggregate.inputChannels += found->inputChannels;
    if (!description.has(AudioScope::output)) continue;
    aggregate.outputChannels = description.isStacked
                                   ? std::max(aggregate.outputChannels, found->outputChannels)
                                   : aggregate.outputChannels + found->outputChannels;
  }
  if (aggregate.clock == kAudioObjectUnknown && !aggregate.members.empty())
    aggregate.clock = aggregate.members.front();
  if (const SimulatedDevice* clock = device(aggregate.clock)) {
    aggregate.sampleRate = clock->sampleRate;
    aggregate.bufferFrames = clock->bufferFrames;
  }
}

void SimulatedGraph::resolveProcesses() {
  for (auto& [pid, process] : processes) {
    if (process->isOwn) continue;
    const SimulatedEndpoint* chosen = process->deviceUID ? endpointForUID(*process->deviceUID)
                                                         : endpoint(defaultFor(DefaultDevice::output));
    // An app whose chosen device has gone plays on the default.
    if (!chosen) chosen = endpoint(defaultFor(DefaultDevice::output));
    process->device = chosen ? chosen->id : kAudioObjectUnknown;
    if (!isExpected(*process) || isCaptured(*process)) process->standsStill = false;
  }
}

// The one device of the processes that play, else of all covered ones, else the default output.
void SimulatedGraph::resolveTapClock(SimulatedAggregate& aggregate) {
  std::set<AudioDeviceID> playing, all;
  for (const std::string& uid : aggregate.description.tapUIDs) {
    const SimulatedTap* tap = tapForUID(uid);
    if (!tap) continue;
    for (const auto& [pid, process] : processes) {
      if (process->isOwn || !covers(*tap, *process) || process->device == kAudioObjectUnknown) continue;
      all.insert(process->device);
      if (process->isPlaying) playing.insert(process->device);
    }
  }
  const std::set<AudioDeviceID>& candidates = playing.empty() ? all : playing;
  aggregate.clock = candidates.size() == 1 ? *candidates.begin() : defaultFor(DefaultDevice::output);
  aggregate.inputChannels = 2;
  aggregate.outputChannels = 0;
  const SimulatedEndpoint* clock = endpoint(aggregate.clock);
  if (!clock) {
    aggregate.clock = kAudioObjectUnknown;
    return;
  }
  aggregate.sampleRate = aggregate.wantedRate.value_or(clock->sampleRate);
  aggregate.bufferFrames = aggregate.wantedFrames.value_or(clock->bufferFrames);
}

void SimulatedGraph::resolveRunning() {
  const auto resolveEndpoint = [&](SimulatedEndpoint& each) {
    each.isRunning = hasPlayingProcesses(each.id) || hasOutputClients(each.id) || hasInputClients(each.id) ||
                     servesRunning(each);
  };
  // Each after those that it may serve: aggregates of taps, of devices, devices.
  for (auto& [id, aggregate] : aggregates)
    if (!aggregate->hasMembers()) resolveEndpoint(*aggregate);
  for (auto& [id, aggregate] : aggregates)
    if (aggregate->hasMembers()) resolveEndpoint(*aggregate);
  for (auto& [id, device] : devices) resolveEndpoint(*device);
  for (auto& [pid, process] : processes) {
    if (!process->isOwn) {
      process->isRunningOutput = process->isPlaying;
      continue;
    }
    process->isRunningOutput = std::ranges::any_of(units, [&](const auto& unit) {
      return unit->settings.isStarted && unit->settings.outputEnabled && endpoint(unit->settings.device);
    });
  }
}

bool SimulatedGraph::servesRunning(const SimulatedEndpoint& endpoint) const {
  return std::ranges::any_of(aggregates, [&](const auto& entry) {
    const SimulatedAggregate& aggregate = *entry.second;
    if (!aggregate.isRunning || aggregate.id == endpoint.id) return false;
    return aggregate.clock == endpoint.id ||
           std::ranges::find(aggregate.members, endpoint.id) != aggregate.members.end();
  });
}

}  // namespace sonmere
