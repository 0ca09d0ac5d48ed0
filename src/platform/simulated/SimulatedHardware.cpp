#include "platform/simulated/SimulatedHardware.h"

#include <algorithm>
#include <cmath>

#include "platform/simulated/GraphEdits.h"
#include "platform/simulated/StandardMachine.h"

namespace sonmere {

template <class T, class Read>
Result<T> SimulatedHardware::readEndpoint(Operation operation, AudioDeviceID device, Read&& read) {
  return world_->call<T>(operation, device, [&]() -> Result<T> {
    SimulatedEndpoint* found = world_->graph().endpoint(device);
    if (!found) return std::unexpected(kAudioHardwareBadObjectError);
    return read(*found);
  });
}

template <class T, class Read>
Result<T> SimulatedHardware::readProcess(Operation operation, AudioObjectID process, Read&& read) {
  return world_->call<T>(operation, process, [&]() -> Result<T> {
    const SimulatedProcess* found = world_->graph().process(process);
    if (!found) return std::unexpected(kAudioHardwareBadObjectError);
    return read(*found);
  });
}

Result<std::vector<AudioDeviceID>> SimulatedHardware::devices() {
  using IDs = std::vector<AudioDeviceID>;
  return world_->call<IDs>(Operation::devices, kAudioObjectSystemObject, [&]() -> Result<IDs> {
    IDs ids;
    for (const auto& [id, device] : world_->graph().devices) ids.push_back(id);
    for (const auto& [id, aggregate] : world_->graph().aggregates) ids.push_back(id);
    std::ranges::sort(ids);
    return ids;
  });
}

Result<AudioDeviceID> SimulatedHardware::deviceForUID(std::string_view uid) {
  return world_->call<AudioDeviceID>(Operation::deviceForUID, kAudioObjectSystemObject,
                                     [&]() -> Result<AudioDeviceID> {
                                       const SimulatedGraph& graph = world_->graph();
                                       const SimulatedEndpoint* found = graph.endpointForUID(uid);
                                       const bool lags = graph.translationLags && isDriverDevice(uid);
                                       return found && !lags ? found->id : kAudioObjectUnknown;
                                     });
}

Result<std::string> SimulatedHardware::deviceUID(AudioDeviceID device) {
  return readEndpoint<std::string>(Operation::deviceUID, device, [](auto& d) { return d.uid; });
}

Result<std::string> SimulatedHardware::deviceName(AudioDeviceID device) {
  return readEndpoint<std::string>(Operation::deviceName, device, [](auto& d) { return d.name; });
}

Result<std::uint32_t> SimulatedHardware::transportType(AudioDeviceID device) {
  return readEndpoint<std::uint32_t>(Operation::transportType, device, [](auto& d) { return d.transport; });
}

Result<std::vector<std::uint32_t>> SimulatedHardware::streamConfiguration(AudioDeviceID device,
                                                                          AudioScope scope) {
  using Channels = std::vector<std::uint32_t>;
  return readEndpoint<Channels>(Operation::streamConfiguration, device, [&](auto& d) {
    const std::uint32_t channels = d.channels(scope);
    return channels > 0 ? Channels{channels} : Channels{};
  });
}

Result<std::string> SimulatedHardware::channelName(AudioDeviceID device, AudioScope scope,
                                                   std::uint32_t channel) {
  return readEndpoint<std::string>(
      Operation::channelName, device, [&](SimulatedEndpoint& d) -> Result<std::string> {
        const SimulatedDevice* hardware = world_->graph().device(d.id);
        if (!hardware) return std::unexpected(kAudioHardwareUnknownPropertyError);
        const auto& names = scope == AudioScope::input ? hardware->description().inputChannelNames
                                                       : hardware->description().outputChannelNames;
        if (channel < 1 || channel > names.size() || names[channel - 1].empty())
          return std::unexpected(kAudioHardwareUnknownPropertyError);
        return names[channel - 1];
      });
}

bool SimulatedHardware::hasDataSource(AudioDeviceID device, AudioScope scope) {
  return world_->locked([&] {
    SimulatedDevice* found = world_->graph().device(device);
    return !world_->isDown() && found && found->dataSource(scope) != 0;
  });
}

Result<std::uint32_t> SimulatedHardware::dataSource(AudioDeviceID device, AudioScope scope) {
  return readEndpoint<std::uint32_t>(Operation::dataSource, device,
                                     [&](SimulatedEndpoint& d) -> Result<std::uint32_t> {
                                       SimulatedDevice* hardware = world_->graph().device(d.id);
                                       if (!hardware || hardware->dataSource(scope) == 0)
                                         return std::unexpected(kAudioHardwareUnknownPropertyError);
                                       return hardware->dataSource(scope);
                                     });
}

Result<double> SimulatedHardware::nominalSampleRate(AudioDeviceID device) {
  return readEndpoint<double>(Operation::nominalSampleRate, device, [](auto& d) { return d.sampleRate; });
}

OSStatus SimulatedHardware::setNominalSampleRate(AudioDeviceID device, double rate) {
  return world_->perform(Operation::setNominalSampleRate, device,
                         [&] { return GraphEdits(*world_).setNominalSampleRate(device, rate); });
}

Result<std::vector<AudioValueRange>> SimulatedHardware::availableNominalSampleRates(AudioDeviceID device) {
  return readEndpoint<std::vector<AudioValueRange>>(
      Operation::availableNominalSampleRates, device,
      [&](SimulatedEndpoint& d) { return GraphEdits(*world_).availableRates(d); });
}

Result<std::uint32_t> SimulatedHardware::bufferFrameSize(AudioDeviceID device) {
  return readEndpoint<std::uint32_t>(Operation::bufferFrameSize, device,
                                     [](auto& d) { return d.bufferFrames; });
}

OSStatus SimulatedHardware::setBufferFrameSize(AudioDeviceID device, std::uint32_t frames) {
  return world_->perform(Operation::setBufferFrameSize, device,
                         [&] { return GraphEdits(*world_).setBufferFrameSize(device, frames); });
}

Result<float> SimulatedHardware::volume(AudioDeviceID device, AudioScope scope) {
  return readEndpoint<float>(Operation::volume, device, [&](SimulatedEndpoint& d) -> Result<float> {
    if (d.channels(scope) == 0) return std::unexpected(kAudioHardwareUnknownPropertyError);
    return scope == AudioScope::input ? d.inputVolume : d.outputVolume;
  });
}

OSStatus SimulatedHardware::setVolume(AudioDeviceID device, AudioScope scope, float volume) {
  return world_->perform(Operation::setVolume, device, [&]() -> OSStatus {
    SimulatedEndpoint* found = world_->graph().endpoint(device);
    if (!found) return kAudioHardwareBadObjectError;
    if (found->channels(scope) == 0) return kAudioHardwareUnknownPropertyError;
    if (!(volume >= 0 && volume <= 1)) return kAudioHardwareIllegalOperationError;
    (scope == AudioScope::input ? found->inputVolume : found->outputVolume) = volume;
    return noErr;
  });
}

Result<bool> SimulatedHardware::isAlive(AudioDeviceID device) {
  return readEndpoint<bool>(Operation::isAlive, device, [](auto&) { return true; });
}

Result<bool> SimulatedHardware::isRunningSomewhere(AudioDeviceID device) {
  return readEndpoint<bool>(Operation::isRunningSomewhere, device, [](auto& d) { return d.isRunning; });
}

Result<std::vector<std::string>> SimulatedHardware::fullSubDeviceList(AudioDeviceID aggregate) {
  using UIDs = std::vector<std::string>;
  return readEndpoint<UIDs>(Operation::fullSubDeviceList, aggregate,
                            [&](SimulatedEndpoint& d) -> Result<UIDs> {
                              const SimulatedAggregate* found = world_->graph().aggregate(d.id);
                              if (!found) return std::unexpected(kAudioHardwareUnknownPropertyError);
                              UIDs uids;
                              for (const auto& member : found->description.subDevices)
                                uids.push_back(member.uid);
                              return uids;
                            });
}

Result<AudioDeviceID> SimulatedHardware::defaultDevice(DefaultDevice role) {
  return world_->call<AudioDeviceID>(
      Operation::defaultDevice, kAudioObjectSystemObject,
      [&]() -> Result<AudioDeviceID> { return world_->graph().defaultFor(role); });
}

OSStatus SimulatedHardware::setDefaultDevice(DefaultDevice role, AudioDeviceID device) {
  return world_->perform(Operation::setDefaultDevice, device,
                         [&] { return GraphEdits(*world_).setDefaultDevice(role, device); });
}

Result<std::vector<AudioObjectID>> SimulatedHardware::processObjects() {
  using IDs = std::vector<AudioObjectID>;
  return world_->call<IDs>(Operation::processObjects, kAudioObjectSystemObject, [&]() -> Result<IDs> {
    IDs ids;
    for (const auto& [pid, process] : world_->graph().processes)
      if (process->id != kAudioObjectUnknown) ids.push_back(process->id);
    std::ranges::sort(ids);
    return ids;
  });
}

Result<AudioObjectID> SimulatedHardware::processForPID(ProcessID pid) {
  return world_->call<AudioObjectID>(
      Operation::processForPID, kAudioObjectSystemObject, [&]() -> Result<AudioObjectID> {
        const auto found = world_->graph().processes.find(pid);
        return found == world_->graph().processes.end() ? kAudioObjectUnknown : found->second->id;
      });
}

Result<ProcessID> SimulatedHardware::processPID(AudioObjectID process) {
  return readProcess<ProcessID>(Operation::processPID, process, [](auto& p) { return p.pid; });
}

Result<std::string> SimulatedHardware::processBundleID(AudioObjectID process) {
  return readProcess<std::string>(Operation::processBundleID, process,
                                  [](auto& p) { return p.description.bundleID; });
}

Result<bool> SimulatedHardware::processIsRunningOutput(AudioObjectID process) {
  return readProcess<bool>(Operation::processIsRunningOutput, process,
                           [](auto& p) { return p.isRunningOutput; });
}

Result<std::vector<AudioDeviceID>> SimulatedHardware::processDevices(AudioObjectID process) {
  using IDs = std::vector<AudioDeviceID>;
  return readProcess<IDs>(Operation::processDevices, process, [&](const SimulatedProcess& p) {
    IDs ids;
    if (!p.isOwn && p.isPlaying && p.device != kAudioObjectUnknown) ids.push_back(p.device);
    if (p.isOwn)
      for (const auto& unit : world_->graph().units)
        if (unit->settings.isStarted && unit->settings.outputEnabled &&
            world_->graph().endpoint(unit->settings.device) &&
            std::ranges::find(ids, unit->settings.device) == ids.end())
          ids.push_back(unit->settings.device);
    return ids;
  });
}

Result<AudioObjectID> SimulatedHardware::createProcessTap(const TapDescription& description) {
  return world_->call<AudioObjectID>(Operation::createProcessTap, kAudioObjectUnknown,
                                     [&] { return GraphEdits(*world_).createProcessTap(description); });
}

OSStatus SimulatedHardware::destroyProcessTap(AudioObjectID tap) {
  return world_->perform(Operation::destroyProcessTap, tap,
                         [&] { return GraphEdits(*world_).destroyProcessTap(tap); });
}

Result<std::string> SimulatedHardware::tapUID(AudioObjectID tap) {
  return world_->call<std::string>(Operation::tapUID, tap, [&]() -> Result<std::string> {
    const auto found = world_->graph().taps.find(tap);
    if (found == world_->graph().taps.end()) return std::unexpected(kAudioHardwareBadObjectError);
    return found->second.uid;
  });
}

void SimulatedHardware::expectCapture(std::string_view owner, CaptureExpectation expectation) {
  world_->locked([&] {
    world_->change(
        [&] { world_->graph().expectations.insert_or_assign(std::string(owner), std::move(expectation)); });
  });
}

Result<AudioDeviceID> SimulatedHardware::createAggregateDevice(const AggregateDescription& description) {
  return world_->call<AudioDeviceID>(Operation::createAggregateDevice, kAudioObjectUnknown,
                                     [&] { return GraphEdits(*world_).createAggregateDevice(description); });
}

OSStatus SimulatedHardware::destroyAggregateDevice(AudioDeviceID aggregate) {
  return world_->perform(Operation::destroyAggregateDevice, aggregate,
                         [&] { return GraphEdits(*world_).destroyAggregateDevice(aggregate); });
}

Result<IOProcID> SimulatedHardware::createIOProc(AudioDeviceID device, IOProc procedure, void* clientData) {
  return world_->call<IOProcID>(Operation::createIOProc, device, [&]() -> Result<IOProcID> {
    if (!world_->graph().endpoint(device)) return std::unexpected(kAudioHardwareBadObjectError);
    if (!procedure) return std::unexpected(kAudioHardwareIllegalOperationError);
    const std::uint64_t order = world_->newOrder();
    world_->graph().ioProcs[order] = {order, device, procedure, clientData, false, order};
    return order;
  });
}

OSStatus SimulatedHardware::destroyIOProc(AudioDeviceID device, IOProcID procedure) {
  return world_->perform(Operation::destroyIOProc, device, [&]() -> OSStatus {
    auto& procedures = world_->graph().ioProcs;
    const auto found = procedures.find(procedure);
    if (found == procedures.end() || found->second.device != device) return kAudioHardwareBadObjectError;
    if (found->second.isStarted)
      world_->change([&] { procedures.erase(found); });
    else
      procedures.erase(found);
    return noErr;
  });
}

OSStatus SimulatedHardware::setRunning(AudioDeviceID device, IOProcID procedure, bool isStarted) {
  auto& procedures = world_->graph().ioProcs;
  const auto found = procedures.find(procedure);
  if (!world_->graph().endpoint(device) || found == procedures.end() || found->second.device != device)
    return kAudioHardwareBadObjectError;
  if (found->second.isStarted != isStarted) world_->change([&] { found->second.isStarted = isStarted; });
  return noErr;
}

OSStatus SimulatedHardware::startDevice(AudioDeviceID device, IOProcID procedure) {
  return world_->perform(Operation::startDevice, device, [&] { return setRunning(device, procedure, true); });
}

OSStatus SimulatedHardware::stopDevice(AudioDeviceID device, IOProcID procedure) {
  return world_->perform(Operation::stopDevice, device, [&] { return setRunning(device, procedure, false); });
}

Result<ListenerID> SimulatedHardware::addListener(AudioObjectID object, AudioProperty property,
                                                  AudioScope scope, Queue& queue, PropertyHandler handler) {
  return world_->call<ListenerID>(Operation::addListener, object, [&]() -> Result<ListenerID> {
    if (object != kAudioObjectSystemObject && !world_->graph().endpoint(object) &&
        !world_->graph().process(object))
      return std::unexpected(kAudioHardwareBadObjectError);
    return world_->listeners().add(object, property, scope, queue, std::move(handler));
  });
}

OSStatus SimulatedHardware::removeListener(ListenerID listener) {
  const auto remove = [&] { return world_->listeners().remove(listener); };
  const OSStatus status = world_->perform(Operation::removeListener, kAudioObjectUnknown, [&]() -> OSStatus {
    return remove() ? noErr : kAudioHardwareBadObjectError;
  });
  // This side of the connection forgets it at once.
  if (status == kAudioHardwareNotRunningError) world_->locked(remove);
  return status;
}

std::uint64_t SimulatedHardware::hostTime() const noexcept {
  return std::uint64_t(world_->runtime().uptime().count());
}

}  // namespace sonmere
