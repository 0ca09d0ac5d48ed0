#include "platform/pipewire/PipeWireHardware.h"

#include <fmt/format.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ranges>

#include "platform/pipewire/PipeWireOutputUnit.h"

namespace sonmere {

using Lock = PipeWireLoop::Lock;

namespace {
// The session moves programs when the default changes, and makes their ports anew where the channels differ.
// One change at a time: programs die of two.
constexpr Duration kOutputSettle = fromMilliseconds(150);
constexpr int kOutputAttempts = 20;
}  // namespace

PipeWireHardware::PipeWireHardware(PipeWireServer& server) : server_(server) {
  const Lock lock(server_.loop());
  ownProcess_ = server_.newID();
  server_.outputsChanged = [this] { lookAtOutputs(); };
  server_.rateChanged = [this] { followRate(); };
}

PipeWireHardware::~PipeWireHardware() {
  const Lock lock(server_.loop());
  server_.outputsChanged = server_.rateChanged = nullptr;
  procedures_.clear();
  combined_.clear();
}

// Of the clock that stamps the server's cycles; no system call on the platforms that the server runs on.
std::uint64_t PipeWireHardware::hostTime() const noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::uint64_t(now.tv_sec) * 1'000'000'000u + std::uint64_t(now.tv_nsec);
}

template <class Answer>
auto PipeWireHardware::ask(AudioDeviceID id, Answer&& answer)
    -> Result<decltype(answer(std::declval<PipeWireDevice>()))> {
  const Lock lock(server_.loop());
  const PipeWireDevice* device = server_.devices().device(id);
  if (!device) return std::unexpected(kAudioHardwareBadDeviceError);
  return answer(*device);
}

template <class Answer>
auto PipeWireHardware::askProcess(AudioObjectID id, Answer&& answer)
    -> Result<decltype(answer(std::declval<PipeWireProcess>()))> {
  const Lock lock(server_.loop());
  const PipeWireProcess* process = server_.processes().process(id);
  if (!process) return std::unexpected(kAudioHardwareBadObjectError);
  return answer(*process);
}

// Devices.

Result<std::vector<AudioDeviceID>> PipeWireHardware::devices() {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  return server_.devices().list();
}

Result<AudioDeviceID> PipeWireHardware::deviceForUID(std::string_view uid) {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  const PipeWireDevice* device = server_.devices().deviceNamed(uid);
  return device && device->anySide() ? device->id : kAudioObjectUnknown;
}

Result<std::string> PipeWireHardware::deviceUID(AudioDeviceID device) {
  return ask(device, [](const PipeWireDevice& d) { return d.uid; });
}

Result<std::string> PipeWireHardware::deviceName(AudioDeviceID device) {
  return ask(device, [&](const PipeWireDevice& d) { return server_.devices().name(d); });
}

Result<std::uint32_t> PipeWireHardware::transportType(AudioDeviceID device) {
  return ask(device, [&](const PipeWireDevice& d) { return server_.devices().transportType(d); });
}

Result<std::vector<std::uint32_t>> PipeWireHardware::streamConfiguration(AudioDeviceID device,
                                                                         AudioScope scope) {
  const Lock lock(server_.loop());
  if (const auto aggregate = tapAggregates_.find(device); aggregate != tapAggregates_.end())
    return scope == AudioScope::input ? std::vector<std::uint32_t>{2} : std::vector<std::uint32_t>{};
  return ask(device, [&](const PipeWireDevice& d) -> std::vector<std::uint32_t> {
    const auto channels = server_.devices().channels(d, scope);
    if (channels.empty()) return {};
    return {std::uint32_t(channels.size())};
  });
}

Result<std::string> PipeWireHardware::channelName(AudioDeviceID device, AudioScope scope,
                                                  std::uint32_t channel) {
  const auto channels =
      ask(device, [&](const PipeWireDevice& d) { return server_.devices().channels(d, scope); });
  if (!channels) return std::unexpected(channels.error());
  if (channel == 0 || channel > channels->size()) return std::unexpected(kAudioHardwareUnknownPropertyError);
  return (*channels)[channel - 1];
}

bool PipeWireHardware::hasDataSource(AudioDeviceID device, AudioScope scope) {
  const auto found =
      ask(device, [&](const PipeWireDevice& d) { return server_.devices().dataSource(d, scope); });
  return found && found->has_value();
}

Result<std::uint32_t> PipeWireHardware::dataSource(AudioDeviceID device, AudioScope scope) {
  const auto found =
      ask(device, [&](const PipeWireDevice& d) { return server_.devices().dataSource(d, scope); });
  if (!found) return std::unexpected(found.error());
  return *found ? Result<std::uint32_t>(**found) : std::unexpected(kAudioHardwareUnknownPropertyError);
}

Result<double> PipeWireHardware::nominalSampleRate(AudioDeviceID device) {
  const Lock lock(server_.loop());
  if (const auto aggregate = tapAggregates_.find(device); aggregate != tapAggregates_.end())
    return aggregate->second.rate;
  return ask(device, [&](const PipeWireDevice&) { return server_.graphRate(); });
}

OSStatus PipeWireHardware::setNominalSampleRate(AudioDeviceID device, double rate) {
  const Lock lock(server_.loop());
  const auto aggregate = tapAggregates_.find(device);
  if (aggregate == tapAggregates_.end())
    return server_.devices().device(device) ? server_.setGraphRate(rate) : kAudioHardwareBadDeviceError;
  if (!(rate >= 8000 && rate <= 768000)) return kAudioDeviceUnsupportedFormatError;
  const double before = std::exchange(aggregate->second.rate, rate);
  if (std::abs(before - rate) > 0.5)
    restart([&](const Procedure& procedure) { return procedure.device == device; });
  return noErr;
}

Result<std::vector<AudioValueRange>> PipeWireHardware::availableNominalSampleRates(AudioDeviceID device) {
  return ask(device, [&](const PipeWireDevice&) {
    std::vector<AudioValueRange> ranges;
    for (const double rate : server_.allowedRates()) ranges.push_back({rate, rate});
    return ranges;
  });
}

Result<std::uint32_t> PipeWireHardware::bufferFrameSize(AudioDeviceID device) {
  return ask(device, [&](const PipeWireDevice& d) {
    const std::uint32_t wished = wishedFrames(d.id);
    return wished > 0 ? std::min(wished, server_.graphQuantum()) : server_.graphQuantum();
  });
}

OSStatus PipeWireHardware::setBufferFrameSize(AudioDeviceID device, std::uint32_t frames) {
  const Lock lock(server_.loop());
  if (!server_.devices().device(device) && !tapAggregates_.contains(device))
    return kAudioHardwareBadDeviceError;
  if (!server_.allowsQuantum(frames)) return kAudioHardwareIllegalOperationError;
  wishedFrames_[device] = frames;
  for (const auto& [id, procedure] : procedures_)
    if (procedure.isStarted && procedure.device == device) procedure.io->setLatency(frames);
  return noErr;
}

std::uint32_t PipeWireHardware::wishedFrames(AudioDeviceID device) const {
  const auto wish = wishedFrames_.find(device);
  return wish == wishedFrames_.end() ? 0 : wish->second;
}

// A slider's position is the cube root of the gain, as on the desktop's own mixers.
Result<float> PipeWireHardware::volume(AudioDeviceID device, AudioScope scope) {
  const auto gain = ask(device, [&](const PipeWireDevice& d) -> Result<float> {
    const auto side = d.side(scope);
    const GraphNode* node = side ? server_.graph().node(*side) : nullptr;
    if (!node || node->channelVolumes.empty()) return std::unexpected(kAudioHardwareUnknownPropertyError);
    return *std::ranges::max_element(node->channelVolumes);
  });
  if (!gain) return std::unexpected(gain.error());
  if (!*gain) return std::unexpected(gain->error());
  return std::cbrt(**gain);
}

OSStatus PipeWireHardware::setVolume(AudioDeviceID device, AudioScope scope, float volume) {
  const float position = std::clamp(volume, 0.0f, 1.0f);
  const auto isSet = ask(device, [&](const PipeWireDevice& d) {
    const auto side = d.side(scope);
    return side && server_.graph().setVolume(*side, position * position * position);
  });
  if (!isSet) return isSet.error();
  return *isSet ? noErr : kAudioHardwareUnknownPropertyError;
}

Result<bool> PipeWireHardware::isAlive(AudioDeviceID device) {
  return ask(device, [](const PipeWireDevice& d) { return d.anySide().has_value(); });
}

Result<bool> PipeWireHardware::isRunningSomewhere(AudioDeviceID device) {
  return ask(device, [&](const PipeWireDevice& d) { return server_.devices().isRunning(d); });
}

Result<std::vector<std::string>> PipeWireHardware::fullSubDeviceList(AudioDeviceID aggregate) {
  return ask(aggregate, [](const PipeWireDevice& d) { return d.members; });
}

// Defaults.

Result<AudioDeviceID> PipeWireHardware::defaultDevice(DefaultDevice role) {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  const PipeWireDevice* device = server_.devices().deviceNamed(server_.defaultName(role));
  return device ? device->id : kAudioObjectUnknown;
}

OSStatus PipeWireHardware::setDefaultDevice(DefaultDevice role, AudioDeviceID device) {
  const Lock lock(server_.loop());
  const PipeWireDevice* known = server_.devices().device(device);
  if (!known || !known->side(role == DefaultDevice::input ? AudioScope::input : AudioScope::output))
    return kAudioHardwareBadDeviceError;
  return server_.setDefaultName(role, std::string(known->uid));
}

// Process objects.

Result<std::vector<AudioObjectID>> PipeWireHardware::processObjects() {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  std::vector<AudioObjectID> list;
  for (const auto& [id, process] : server_.processes().all()) list.push_back(id);
  return list;
}

Result<AudioObjectID> PipeWireHardware::processForPID(ProcessID pid) {
  const Lock lock(server_.loop());
  if (pid == getpid()) return ownProcess_;
  for (const auto& [id, process] : server_.processes().all())
    if (process.pid == pid) return id;
  return kAudioObjectUnknown;
}

Result<ProcessID> PipeWireHardware::processPID(AudioObjectID process) {
  return askProcess(process, [](const PipeWireProcess& p) {
    return p.identity.ownerPID != 0 ? p.identity.ownerPID : p.pid;
  });
}

Result<std::string> PipeWireHardware::processBundleID(AudioObjectID process) {
  return askProcess(process, [](const PipeWireProcess& p) { return p.identity.bundleID; });
}

Result<bool> PipeWireHardware::processIsRunningOutput(AudioObjectID process) {
  return askProcess(process, [](const PipeWireProcess& p) { return p.isRunning; });
}

Result<std::vector<AudioDeviceID>> PipeWireHardware::processDevices(AudioObjectID process) {
  return askProcess(process, [&](const PipeWireProcess& p) {
    std::vector<AudioDeviceID> list;
    for (const auto& [id, link] : server_.graph().links()) {
      const PipeWireDevice* device =
          p.streams.contains(link.outputNode) ? server_.devices().deviceOfNode(link.inputNode) : nullptr;
      if (device && std::ranges::find(list, device->id) == list.end()) list.push_back(device->id);
    }
    return list;
  });
}

// Process taps.

OSStatus PipeWireHardware::refuseUnmovable(const TapDescription& description) {
  if (description.mute == TapMute::unmuted || description.exclusive) return noErr;
  for (const AudioObjectID id : description.processes) {
    const PipeWireProcess* process = server_.processes().process(id);
    if (!process) continue;
    const bool refuses = std::ranges::any_of(process->streams, [&](GlobalID stream) {
      const GraphNode* node = server_.graph().node(stream);
      return node && !AppMover::isMovable(*node);
    });
    if (!refuses) continue;
    server_.log().warning(
        fmt::format("Sonmere: {} asks the audio server to leave it where it is; it keeps its own output and "
                    "can't be muted "
                    "there",
                    process->identity.name));
    return kAudioHardwareIllegalOperationError;
  }
  return noErr;
}

Result<AudioObjectID> PipeWireHardware::createProcessTap(const TapDescription& description) {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  for (const AudioObjectID process : description.processes)
    if (process != ownProcess_ && !server_.processes().process(process))
      return std::unexpected(kAudioHardwareBadObjectError);
  if (description.processes.empty() && !description.exclusive)
    return std::unexpected(kAudioHardwareBadObjectError);
  if (const OSStatus status = refuseUnmovable(description); status != noErr) return std::unexpected(status);
  const AudioObjectID id = server_.newID();
  taps_[id] = {id, server_.uniqueName("tap-uid"), description};
  return id;
}

OSStatus PipeWireHardware::destroyProcessTap(AudioObjectID tap) {
  const Lock lock(server_.loop());
  return taps_.erase(tap) > 0 ? noErr : kAudioHardwareBadObjectError;
}

Result<std::string> PipeWireHardware::tapUID(AudioObjectID tap) {
  const Lock lock(server_.loop());
  const auto found = taps_.find(tap);
  if (found == taps_.end()) return std::unexpected(kAudioHardwareBadObjectError);
  return found->second.uid;
}

void PipeWireHardware::expectCapture(std::string_view owner, CaptureExpectation expectation) {
  const Lock lock(server_.loop());
  server_.mover().expect(owner, std::move(expectation));
}

// Aggregates.

Result<AudioDeviceID> PipeWireHardware::createAggregateDevice(const AggregateDescription& description) {
  const Lock lock(server_.loop());
  if (!server_.isReady()) return std::unexpected(kAudioHardwareNotRunningError);
  if (description.tapUIDs.empty()) {
    auto combined = std::make_unique<CombinedDevice>(server_, description);
    const auto device = combined->open();
    if (device) combined_[*device] = std::move(combined);
    return device;
  }
  // Two clocks of capture in one procedure are more than any engine asks for.
  if (description.tapUIDs.size() > 1) return std::unexpected(kAudioHardwareIllegalOperationError);
  const auto tap = std::ranges::find_if(
      taps_, [&](const auto& entry) { return entry.second.uid == description.tapUIDs.front(); });
  if (tap == taps_.end()) return std::unexpected(kAudioHardwareBadObjectError);
  const AudioDeviceID id = server_.newID();
  tapAggregates_[id] = {description, tap->first, server_.graphRate()};
  return id;
}

OSStatus PipeWireHardware::destroyAggregateDevice(AudioDeviceID aggregate) {
  const Lock lock(server_.loop());
  std::erase_if(procedures_, [&](const auto& entry) { return entry.second.device == aggregate; });
  const bool isKnown = tapAggregates_.erase(aggregate) + combined_.erase(aggregate) > 0;
  return isKnown ? noErr : kAudioHardwareBadDeviceError;
}

// Device I/O.

Result<IOProcID> PipeWireHardware::createIOProc(AudioDeviceID device, IOProc procedure, void* clientData) {
  const Lock lock(server_.loop());
  if (!tapAggregates_.contains(device) && !server_.devices().device(device))
    return std::unexpected(kAudioHardwareBadDeviceError);
  if (!procedure) return std::unexpected(kAudioHardwareIllegalOperationError);
  const IOProcID id = nextProcedure_++;
  procedures_[id] = {device, std::make_unique<DeviceIO>(server_, procedure, clientData), false};
  return id;
}

PipeWireHardware::Procedure* PipeWireHardware::find(AudioDeviceID device, IOProcID procedure) {
  const auto found = procedures_.find(procedure);
  return found == procedures_.end() || found->second.device != device ? nullptr : &found->second;
}

OSStatus PipeWireHardware::destroyIOProc(AudioDeviceID device, IOProcID procedure) {
  const Lock lock(server_.loop());
  if (!find(device, procedure)) return kAudioHardwareBadObjectError;
  procedures_.erase(procedure);
  return noErr;
}

OSStatus PipeWireHardware::start(Procedure& procedure) {
  const std::uint32_t frames = wishedFrames(procedure.device);
  const auto aggregate = tapAggregates_.find(procedure.device);
  if (aggregate == tapAggregates_.end()) {
    const PipeWireDevice* device = server_.devices().device(procedure.device);
    procedure.rate = server_.graphRate();
    return device ? procedure.io->startOnDevice(PipeWireDevice(*device), procedure.rate, frames)
                  : kAudioHardwareBadDeviceError;
  }
  const auto tap = taps_.find(aggregate->second.tap);
  if (tap == taps_.end()) return kAudioHardwareBadObjectError;
  return procedure.io->startOnTap(PipeWireTap(tap->second), aggregate->second.rate, frames);
}

OSStatus PipeWireHardware::startDevice(AudioDeviceID device, IOProcID id) {
  const Lock lock(server_.loop());
  Procedure* procedure = find(device, id);
  if (!procedure) return kAudioHardwareBadObjectError;
  if (procedure->isStarted) return noErr;
  const OSStatus status = start(*procedure);
  // Other threads have had the lock meanwhile.
  if (Procedure* still = find(device, id)) still->isStarted = status == noErr;
  return status;
}

OSStatus PipeWireHardware::stopDevice(AudioDeviceID device, IOProcID id) {
  const Lock lock(server_.loop());
  Procedure* procedure = find(device, id);
  if (!procedure) return kAudioHardwareBadObjectError;
  procedure->io->stop();
  procedure->isStarted = false;
  return noErr;
}

// What a stream was made with is fixed while it runs.
void PipeWireHardware::restart(const std::function<bool(const Procedure&)>& isMeant) {
  std::vector<IOProcID> meant;
  for (const auto& [id, procedure] : procedures_)
    if (procedure.isStarted && isMeant(procedure)) meant.push_back(id);
  for (const IOProcID id : meant) {
    // Other threads have the lock while a stream is being made.
    const auto found = procedures_.find(id);
    if (found == procedures_.end()) continue;
    found->second.io->stop();
    const bool isStarted = start(found->second) == noErr;
    if (const auto still = procedures_.find(id); still != procedures_.end())
      still->second.isStarted = isStarted;
  }
}

bool PipeWireHardware::playsElsewhere(const Procedure& procedure) const {
  const auto aggregate = tapAggregates_.find(procedure.device);
  if (aggregate == tapAggregates_.end() || !procedure.io->capturesTap()) return false;
  const auto tap = taps_.find(aggregate->second.tap);
  if (tap == taps_.end() || tap->second.isMuted()) return false;
  return procedure.io->forwardsTo() != server_.narrowOutputs().find(tap->second);
}

// Whether a program of the tap is being linked at present.
bool PipeWireHardware::isUnderWay(const Procedure& procedure) const {
  const PipeWireTap& tap = taps_.at(tapAggregates_.at(procedure.device).tap);
  const auto isBeingLinked = [&](GlobalID stream) {
    const GraphNode* node = server_.graph().node(stream);
    return node && node->state == NodeState::running && !server_.graph().isHeard(stream);
  };
  return std::ranges::any_of(server_.processes().all(), [&](const auto& entry) {
    return tap.covers(entry.first) && std::ranges::any_of(entry.second.streams, isBeingLinked);
  });
}

void PipeWireHardware::lookAtOutputs() {
  const auto isMeant = [this](const Procedure& each) { return each.isStarted && playsElsewhere(each); };
  if (isRestarting_ || std::ranges::none_of(procedures_ | std::views::values, isMeant)) return;
  isRestarting_ = true;
  followOutputs(kOutputAttempts);
}

// Streams are not made on the loop's own thread.
void PipeWireHardware::followOutputs(int attempts) {
  server_.runtime().mainQueue().postAfter(kOutputSettle, lifetime_.guard([this, attempts] {
    const Lock lock(server_.loop());
    const auto isMeant = [this](const Procedure& each) { return each.isStarted && playsElsewhere(each); };
    const auto isTooSoon = [&](const Procedure& each) { return isMeant(each) && isUnderWay(each); };
    if (attempts > 1 && std::ranges::any_of(procedures_ | std::views::values, isTooSoon))
      return followOutputs(attempts - 1);
    restart(isMeant);
    isRestarting_ = false;
  }));
}

// A device's procedures run at its rate. Those that their engine has made anew by then do so already.
void PipeWireHardware::followRate() {
  server_.runtime().mainQueue().post(lifetime_.guard([this] {
    const Lock lock(server_.loop());
    restart([this](const Procedure& each) {
      return !tapAggregates_.contains(each.device) && each.rate != server_.graphRate();
    });
  }));
}

// Output units.

Result<std::unique_ptr<OutputUnit>> PipeWireHardware::newOutputUnit() {
  const Lock lock(server_.loop());
  auto unit = std::make_unique<PipeWireOutputUnit>(server_, nextUnit_++);
  unit->latencyFrames = [this](AudioDeviceID device) { return wishedFrames(device); };
  return unit;
}

// Listeners.

Result<ListenerID> PipeWireHardware::addListener(AudioObjectID object, AudioProperty property,
                                                 AudioScope scope, Queue& queue, PropertyHandler handler) {
  const Lock lock(server_.loop());
  const bool isKnown = object == kAudioObjectSystemObject || server_.devices().device(object) ||
                       tapAggregates_.contains(object) || server_.processes().process(object);
  if (!isKnown) return std::unexpected(kAudioHardwareBadObjectError);
  return server_.listeners().add(object, property, scope, queue, std::move(handler));
}

OSStatus PipeWireHardware::removeListener(ListenerID listener) {
  const Lock lock(server_.loop());
  return server_.listeners().remove(listener) ? noErr : kAudioHardwareBadObjectError;
}

}  // namespace sonmere
