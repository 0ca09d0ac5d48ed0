#include "platform/simulated/SimulatedWorld.h"

#include <fmt/format.h>

#include "platform/simulated/GraphSnapshot.h"
#include "platform/simulated/PlanBuilder.h"

namespace sonmere {

namespace {
constexpr std::size_t kLedgerLimit = 20000;

bool sameUnitShape(double rate, std::uint32_t frames, const SimulatedDevice& device) {
  return rate == device.sampleRate && frames == device.bufferFrames;
}
}  // namespace

SimulatedWorld::SimulatedWorld(Runtime& runtime, Log& log, SimulatedOptions options)
    : runtime_(runtime), log_(log), options_(std::move(options)) {
  auto own = std::make_shared<SimulatedProcess>();
  own->description.bundleID = options_.ownBundleID;
  own->pid = own->description.pid = options_.ownPID;
  own->isOwn = true;
  own->id = newObjectID();
  graph_.processes[own->pid] = own;
  graph_.permission(Permission::microphone) = options_.microphone;
  graph_.permission(Permission::audioCapture) = options_.audioCapture;
}

SimulatedWorld::~SimulatedWorld() {
  for (const auto& [id, device] : graph_.devices) device->runClock(false);
}

std::optional<OSStatus> SimulatedWorld::refusal(Operation operation, AudioObjectID object) {
  std::optional<OSStatus> status = faults_.next(operation);
  if (status) note(fmt::format("fault: {} fails with {}", operationName(operation), *status));
  if (!status && down_) status = kAudioHardwareNotRunningError;
  if (status) record(operation, object, *status);
  return status;
}

void SimulatedWorld::record(Operation operation, AudioObjectID object, OSStatus status) {
  if (ledger_.size() == kLedgerLimit) ledger_.pop_front();
  ledger_.push_back({runtime_.uptime(), operation, object, status});
}

void SimulatedWorld::note(const std::string& event) {
  log_.debug(fmt::format("[{:.6f}] simulated: {}", toSeconds(runtime_.uptime()), event));
}

void SimulatedWorld::change(const std::function<void()>& edit) {
  const GraphSnapshot before(graph_);
  const auto stopped = graph_.devices;  // also keeps alive those that go until their clocks have stopped
  std::vector<std::unique_lock<std::mutex>> locks;
  std::map<AudioDeviceID, std::pair<double, std::uint32_t>> timings;
  for (const auto& [id, device] : stopped) {
    locks.emplace_back(device->mutex());
    timings[id] = {device->sampleRate, device->bufferFrames};
  }
  edit();
  graph_.resolve();
  const auto interrupted = stopInterruptedCaptures();
  std::vector<std::unique_ptr<EndpointPlan>> retired;
  if (!down_)
    for (auto& [id, plan] : PlanBuilder(graph_).build())
      retired.push_back(graph_.device(id)->replacePlan(std::move(plan)));
  for (const auto& [id, device] : stopped) {
    if (down_ || !graph_.devices.contains(device->id)) retired.push_back(device->replacePlan(nullptr));
    if (!sameUnitShape(timings[id].first, timings[id].second, *device)) device->rebase();
  }
  locks.clear();
  for (const auto& [id, device] : stopped) device->runClock(!asleep_);
  for (const auto& [id, device] : graph_.devices) device->runClock(!asleep_);
  before.notifyChanges(GraphSnapshot(graph_), listeners_);
  for (const auto& capture : interrupted)
    if (capture->onConfigurationChange) capture->onConfigurationChange();
}

// A capture whose device has gone or changed its format stops.
std::vector<std::shared_ptr<CaptureFeed>> SimulatedWorld::stopInterruptedCaptures() {
  std::vector<std::shared_ptr<CaptureFeed>> interrupted;
  for (const auto& capture : graph_.captures) {
    if (!capture->isStarted) continue;
    const SimulatedEndpoint* device = graph_.endpoint(capture->device);
    if (device && capture->format == AudioStreamFormat{device->sampleRate, device->inputChannels}) continue;
    capture->isStarted = false;
    interrupted.push_back(capture);
  }
  return interrupted;
}

void SimulatedWorld::setAsleep(bool asleep) {
  asleep_ = asleep;
  note(asleep ? "sleep" : "wake");
  for (const auto& [id, device] : graph_.devices) device->runClock(!asleep_);
}

void SimulatedWorld::forgetClients() {
  graph_.ioProcs.clear();
  graph_.aggregates.clear();
  graph_.taps.clear();
  for (const auto& unit : graph_.units) {
    unit->settings.device = kAudioObjectUnknown;
    unit->settings.isInitialized = unit->settings.isStarted = false;
  }
  for (const auto& capture : graph_.captures) capture->device = kAudioObjectUnknown;
}

void SimulatedWorld::goDown() {
  note("the audio service stops");
  change([this] {
    down_ = true;
    forgetClients();
  });
  // Objects are void from here on: only listeners of the system stay.
  for (const auto& [id, device] : graph_.devices) listeners_.removeObject(id);
  for (const auto& [pid, process] : graph_.processes) listeners_.removeObject(process->id);
}

void SimulatedWorld::renumber() {
  std::map<AudioDeviceID, AudioDeviceID> renamed;
  const auto devices = std::move(graph_.devices);
  graph_.devices.clear();
  for (const std::string& uid : graph_.plugOrder)
    for (const auto& [id, device] : devices) {
      if (device->uid != uid) continue;
      renamed[id] = device->id = newObjectID();
      graph_.devices[device->id] = device;
    }
  for (AudioDeviceID& each : graph_.defaults) {
    const auto found = renamed.find(each);
    each = found == renamed.end() ? kAudioObjectUnknown : found->second;
  }
  for (const auto& [pid, process] : graph_.processes)
    if (process->id != kAudioObjectUnknown) process->id = newObjectID();
}

void SimulatedWorld::comeBack() {
  note("the audio service is back");
  listeners_.notify(kAudioObjectSystemObject, AudioProperty::serviceRestarted);
  change([this] {
    down_ = false;
    renumber();
  });
}

}  // namespace sonmere
