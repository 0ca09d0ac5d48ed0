#include "control/MonitorControl.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/BusName.h"
#include "control/AppMatch.h"
#include "control/ControlError.h"
#include "control/EffectLimits.h"
#include "dsp/Boost.h"

namespace sonmere {

namespace {

constexpr float kMaxBusVolume = 1;
constexpr const char* kMonitorIsOff = "kept for later: the monitor is off";

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

std::unexpected<Error> noNumber() { return refuse("the volume is not a number"); }

std::unexpected<Error> noBus(int bus) {
  return refuse(fmt::format(
      "bus {} is none that can be heard; those are 0, the bridge, and 2 to 9, Track 1 to 8", bus));
}

}  // namespace

MonitorState MonitorControl::state() const {
  MonitorState state;
  state.isEnabled = *app_.context().monitors.isOn;
  state.isRunning = *output().monitorRunning;
  state.isFollowing = output().isFollowing();
  state.device = *output().monitorOutputDeviceName;
  state.sampleRate = output().sampleRate();
  for (const auto& device : *output().availableMonitorDevices)
    state.devices.push_back(
        {device.uid, device.name, device.id == output().device(), device.uid == output().chosenUID()});
  for (const TappedAppInfo& row : *engine().availableApps) {
    const auto tap = engine().tapOf(row.bundleID);
    state.apps.push_back({row.bundleID, row.name,
                          engine().monitors().monitorEnabledBundleIDs->contains(row.bundleID),
                          state.isRunning && tap && tap->monitor.isEnabled() && !tap->isOnDevice(),
                          row.monitorLinked ? row.volume : row.monitorVolume, row.monitorLinked});
  }
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isRoutableBus(bus))
      state.buses.push_back({bus, busName(bus),
                             engine().monitors().masterMonitorEnabledForBus.get()[std::size_t(bus)],
                             engine().monitors().masterGains.get()[std::size_t(bus)]});
  state.hearsMicrophone = *mic().hearMic;
  state.isMicrophoneHeard = state.isRunning && mic().isOnMonitor();
  state.microphoneVolume = *mic().monitorVolume;
  state.error = *output().errorMessage;
  return state;
}

Outcome<MonitorChange> MonitorControl::change(bool isDone, std::vector<std::string> notes) const {
  if (!isDone)
    return std::unexpected(controlError(
        ControlFault::failed, engine().errorMessage()->value_or("a capture could not be made anew")));
  MonitorChange change{state(), std::move(notes)};
  if (const auto& error = change.monitor.error) change.notes.push_back("nothing is heard: " + *error);
  return change;
}

Outcome<std::string> MonitorControl::find(const std::string& app) const {
  std::vector<AppName> names;
  for (const TappedAppInfo& row : *engine().availableApps) names.push_back({row.bundleID, row.name});
  return matchApp(app, names);
}

Outcome<MonitorChange> MonitorControl::setEnabled(bool enabled) {
  app_.context().monitors.setOn(enabled);
  return change(true);
}

Outcome<MonitorChange> MonitorControl::select(const std::string& device) {
  std::vector<AppName> names;
  for (const auto& each : *output().availableMonitorDevices) names.push_back({each.uid, each.name});
  const auto uid = matchName(device, names, {"output device", "output devices"});
  if (!uid) return std::unexpected(uid.error());
  if (!output().select(*uid)) return refuse(fmt::format("{} has just gone", *uid));
  return change(true);
}

Outcome<MonitorChange> MonitorControl::followDefault() {
  output().followDefault();
  return change(true);
}

Outcome<MonitorChange> MonitorControl::setApp(const std::string& app, bool heard) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  const bool isDone = engine().monitors().setMonitored(*id, heard);
  std::vector<std::string> notes;
  if (heard && !engine().tapOf(*id))
    notes.push_back(fmt::format("kept for later: {} is heard on the monitor once it is routed", *id));
  else if (heard && !*app_.context().monitors.isOn)
    notes.emplace_back(kMonitorIsOff);
  return change(isDone, std::move(notes));
}

Outcome<MonitorChange> MonitorControl::setAppVolume(const std::string& app, VolumeRequest request) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  if (!std::isfinite(request.value)) return noNumber();
  const TappedAppInfo& row = *engine().row(*id);
  std::vector<std::string> notes;
  const float wanted = heldVolume(request.from(row.monitorLinked ? row.volume : row.monitorVolume),
                                  maxAppVolume(app_.context().flags.boostAllowed), notes);
  if (row.monitorLinked) {
    engine().setMonitorLinked(*id, false);
    notes.push_back(fmt::format("the monitor's volume of {} no longer follows its own", *id));
  }
  engine().setMonitorVolume(*id, wanted);
  return change(true, std::move(notes));
}

Outcome<MonitorChange> MonitorControl::setLinked(const std::string& app, bool linked) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  engine().setMonitorLinked(*id, linked);
  return change(true);
}

Outcome<MonitorChange> MonitorControl::setBus(int bus, bool heard) {
  if (!isRoutableBus(bus)) return noBus(bus);
  const bool isDone = engine().monitors().setMasterMonitored(bus, heard);
  std::vector<std::string> notes;
  if (heard && !*app_.context().monitors.isOn) notes.emplace_back(kMonitorIsOff);
  return change(isDone, std::move(notes));
}

Outcome<MonitorChange> MonitorControl::setBusVolume(int bus, VolumeRequest request) {
  if (!isRoutableBus(bus)) return noBus(bus);
  if (!std::isfinite(request.value)) return noNumber();
  std::vector<std::string> notes;
  engine().monitors().setMasterGain(
      bus, heldVolume(request.from(engine().monitors().masterGains.get()[std::size_t(bus)]), kMaxBusVolume,
                      notes));
  return change(true, std::move(notes));
}

Outcome<MonitorChange> MonitorControl::setMicrophone(bool heard) {
  mic().setHearMic(heard);
  std::vector<std::string> notes;
  if (heard && !*app_.context().monitors.isOn)
    notes.emplace_back(kMonitorIsOff);
  else if (heard && !mic().isRunning())
    notes.emplace_back("kept for later: the microphone is off");
  else if (heard && !mic().isOnMonitor())
    notes.emplace_back(
        "the microphone runs at another rate than the bridge, and is not heard on the monitor");
  return change(true, std::move(notes));
}

Outcome<MonitorChange> MonitorControl::setMicrophoneVolume(VolumeRequest request) {
  if (!std::isfinite(request.value)) return noNumber();
  std::vector<std::string> notes;
  mic().setMonitorVolume(
      heldVolume(request.from(*mic().monitorVolume), MicPassthroughEngine::kMaxVolume, notes));
  return change(true, std::move(notes));
}

}  // namespace sonmere
