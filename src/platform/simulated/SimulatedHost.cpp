#include "platform/simulated/SimulatedHost.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "platform/simulated/GraphEdits.h"
#include "platform/simulated/StandardMachine.h"

namespace sonmere {

SimulatedHost::SimulatedHost(std::shared_ptr<SimulatedWorld> world, SimulatedApplications& applications,
                             SimulatedPermissions& permissions, SimulatedLoginItem& loginItem,
                             SimulatedPrivileges& privileges, SimulatedPower& power)
    : world_(std::move(world)),
      applications_(applications),
      permissions_(permissions),
      loginItem_(loginItem),
      privileges_(privileges),
      power_(power) {}

void SimulatedHost::plug(const SimulatedDeviceDescription& description) {
  if (description.uid.empty()) throw std::invalid_argument("a device needs a UID");
  if (isPlugged(description.uid)) throw std::invalid_argument(description.uid + " is plugged in already");
  if (description.loopsBack && description.inputChannels != description.outputChannels)
    throw std::invalid_argument(description.uid + " loops back and needs as many inputs as outputs");
  known_[description.uid] = description;
  world_->locked([&] {
    auto device = std::make_shared<SimulatedDevice>(world_->runtime(), description);
    device->id = world_->newObjectID();
    world_->note(fmt::format("plugged {} as {}", description.uid, device->id));
    world_->change([&] {
      auto& order = world_->graph().plugOrder;
      std::erase(order, description.uid);
      order.push_back(description.uid);
      world_->graph().devices[device->id] = device;
    });
  });
}

void SimulatedHost::unplug(const std::string& uid) {
  world_->locked([&] {
    SimulatedGraph& graph = world_->graph();
    const SimulatedEndpoint* found = graph.endpointForUID(uid);
    if (!found || !graph.device(found->id)) throw std::invalid_argument(uid + " is not plugged in");
    const AudioDeviceID id = found->id;
    world_->note("unplugged " + uid);
    world_->change([&] {
      std::erase_if(graph.ioProcs, [&](const auto& entry) { return entry.second.device == id; });
      std::erase(graph.plugOrder, uid);
      graph.devices.erase(id);
    });
  });
}

void SimulatedHost::replug(const std::string& uid) {
  const auto found = known_.find(uid);
  if (found == known_.end()) throw std::invalid_argument(uid + " was never plugged in");
  plug(SimulatedDeviceDescription(found->second));
}

bool SimulatedHost::isPlugged(const std::string& uid) const {
  return world_->locked([&] {
    const auto& order = world_->graph().plugOrder;
    return std::ranges::find(order, uid) != order.end();
  });
}

void SimulatedHost::plugStandardMachine() {
  for (const SimulatedDeviceDescription& description : standardMachine()) plug(description);
  setDefault(DefaultDevice::output, kSpeakersUID);
  setDefault(DefaultDevice::systemOutput, kSpeakersUID);
  setDefault(DefaultDevice::input, kMicrophoneUID);
}

void SimulatedHost::setDataSource(const std::string& uid, AudioScope scope, std::uint32_t source) {
  world_->locked([&] {
    const SimulatedEndpoint* found = world_->graph().endpointForUID(uid);
    SimulatedDevice* device = found ? world_->graph().device(found->id) : nullptr;
    if (!device) throw std::invalid_argument(uid + " is not plugged in");
    world_->change([&] { device->dataSource(scope) = source; });
  });
}

bool SimulatedHost::setNominalRate(const std::string& uid, double rate) {
  return world_->locked([&] {
    const SimulatedEndpoint* found = world_->graph().endpointForUID(uid);
    return found && GraphEdits(*world_).setNominalSampleRate(found->id, rate) == noErr;
  });
}

double SimulatedHost::nominalRate(const std::string& uid) const {
  return world_->locked([&] {
    const SimulatedEndpoint* found = world_->graph().endpointForUID(uid);
    return found ? found->sampleRate : 0.0;
  });
}

void SimulatedHost::installDriver() {
  for (const SimulatedDeviceDescription& description : virtualDevices())
    if (!isPlugged(description.uid)) plug(description);
}

void SimulatedHost::removeDriver() {
  for (const SimulatedDeviceDescription& description : virtualDevices())
    if (isPlugged(description.uid)) unplug(description.uid);
}

bool SimulatedHost::isDriverInstalled() const {
  return std::ranges::all_of(virtualDevices(), [&](const auto& each) { return isPlugged(each.uid); });
}

void SimulatedHost::setTranslationLag(bool lags) {
  world_->locked([&] { world_->graph().translationLags = lags; });
}

bool SimulatedHost::setDefault(DefaultDevice role, const std::string& uid) {
  return world_->locked([&] {
    const SimulatedEndpoint* found = world_->graph().endpointForUID(uid);
    return found && GraphEdits(*world_).setDefaultDevice(role, found->id) == noErr;
  });
}

std::string SimulatedHost::defaultUID(DefaultDevice role) const {
  return world_->locked([&] {
    const SimulatedEndpoint* found = world_->graph().endpoint(world_->graph().defaultFor(role));
    return found ? found->uid : std::string();
  });
}

SimulatedApp SimulatedHost::launchApp(SimulatedAppDescription description) {
  return app(applications_.start(std::move(description)));
}

SimulatedApp SimulatedHost::app(ProcessID pid) const { return {world_, &applications_, pid}; }

std::shared_ptr<DeviceRecorder> SimulatedHost::listen(const std::string& uid, bool isInput,
                                                      DeviceRecorder::Keep keep) {
  auto recorder = std::make_shared<DeviceRecorder>(uid, isInput, keep);
  world_->locked([&] {
    world_->change([&] {
      std::erase_if(world_->graph().recorders, [](const auto& weak) { return weak.expired(); });
      world_->graph().recorders.push_back(recorder);
    });
  });
  // The last reference takes the ear off its device.
  return {recorder.get(), [recorder, weak = std::weak_ptr(world_)](DeviceRecorder*) mutable {
            const auto world = weak.lock();
            if (!world) return;
            world->locked([&] {
              world->change([&] {
                std::erase_if(world->graph().recorders,
                              [&](const auto& each) { return each.lock() == recorder; });
              });
            });
            recorder.reset();
          }};
}

std::shared_ptr<DeviceRecorder> SimulatedHost::hear(const std::string& uid, DeviceRecorder::Keep keep) {
  return listen(uid, false, keep);
}

std::shared_ptr<DeviceRecorder> SimulatedHost::readInput(const std::string& uid, DeviceRecorder::Keep keep) {
  return listen(uid, true, keep);
}

void SimulatedHost::restartService(Duration downFor) {
  world_->locked([&] { world_->goDown(); });
  const auto comeBack = [weak = std::weak_ptr(world_)] {
    if (const auto world = weak.lock()) world->locked([&] { world->comeBack(); });
  };
  if (downFor <= Duration::zero())
    comeBack();
  else
    world_->runtime().globalQueue().postAfter(downFor, comeBack);
}

void SimulatedHost::sleep() {
  power_.postWillSleep();
  world_->locked([&] { world_->setAsleep(true); });
}

void SimulatedHost::wake() {
  world_->locked([&] { world_->setAsleep(false); });
  power_.postDidWake();
}

SimulatedHost::Counts SimulatedHost::counts() const {
  return world_->locked([&] {
    const SimulatedGraph& graph = world_->graph();
    Counts counts{
        graph.taps.size(),     graph.aggregates.size(),   graph.ioProcs.size(), 0, graph.units.size(), 0,
        graph.captures.size(), world_->listeners().size()};
    for (const auto& [id, procedure] : graph.ioProcs) counts.runningIOProcs += procedure.isStarted;
    for (const auto& unit : graph.units) counts.runningUnits += unit->settings.isStarted;
    return counts;
  });
}

std::vector<std::string> SimulatedHost::aggregateUIDs() const {
  return world_->locked([&] {
    std::vector<std::string> uids;
    for (const auto& [id, aggregate] : world_->graph().aggregates) uids.push_back(aggregate->uid);
    return uids;
  });
}

std::vector<TapDescription> SimulatedHost::tapDescriptions() const {
  return world_->locked([&] {
    std::vector<TapDescription> all;
    for (const auto& [id, tap] : world_->graph().taps) all.push_back(tap.description);
    return all;
  });
}

std::vector<AggregateDescription> SimulatedHost::aggregateDescriptions() const {
  return world_->locked([&] {
    std::vector<AggregateDescription> all;
    for (const auto& [id, aggregate] : world_->graph().aggregates) all.push_back(aggregate->description);
    return all;
  });
}

std::deque<CallRecord> SimulatedHost::ledger() const {
  return world_->locked([&] { return world_->ledger(); });
}

}  // namespace sonmere
