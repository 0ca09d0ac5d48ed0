#include "control/AppControl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "apps/FamilyRules.h"
#include "control/AppHints.h"
#include "control/AppMatch.h"
#include "control/ControlError.h"
#include "control/EffectLimits.h"
#include "control/KeptForLater.h"
#include "dsp/Boost.h"
#include "dsp/Level.h"

namespace sonmere {

namespace {

constexpr int kMostOutputChannels = 64;
// A meter value older than this belongs to a capture that has stopped.
constexpr std::uint64_t kLevelAge = 500'000'000;  // ns

const char* controlName(VolumeMixerControl control) {
  switch (control) {
    case VolumeMixerControl::none:
      return "none";
    case VolumeMixerControl::mixer:
      return "mixer";
    case VolumeMixerControl::routed:
      return "routed";
    case VolumeMixerControl::hidden:
      return "hidden";
    case VolumeMixerControl::direct:
      return "direct";
    case VolumeMixerControl::driver:
      return "driver";
  }
  return "none";
}

float levelOf(const CaptureTap& tap, const HostClock& clock) {
  const bool isFresh = !tap.isMuted && tap.levelStamp.load() + kLevelAge > clock.hostTime();
  return meterLevelDb(isFresh ? tap.level.load() : 0.0f);
}

}  // namespace

std::vector<AppState> AppControl::list() const {
  std::vector<AppState> apps;
  for (const TappedAppInfo& row : *engine().availableApps) apps.push_back(describe(row));
  return apps;
}

std::vector<std::string> AppControl::removed() const {
  const auto& removed = engine().rowSets().removedBundleIDs();
  return {removed.begin(), removed.end()};
}

Outcome<AppState> AppControl::get(const std::string& app) const {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  return describe(*id);
}

// Routed, or to be routed when it plays.
bool AppControl::isRouted(const std::string& id) const {
  return engine().tapOf(id) != nullptr || engine().isRouteWaiting(id);
}

std::optional<AppOutputState> AppControl::outputOf(const TappedAppInfo& row) const {
  if (!row.outputDeviceUID) return std::nullopt;
  const DeviceFacts* device = app_.context().devices.withUID(*row.outputDeviceUID);
  return AppOutputState{*row.outputDeviceUID, device ? device->name : *row.outputDeviceUID,
                        row.outputLeftChannel + 1, row.outputRightChannel + 1,
                        engine().outputDeviceName(row.bundleID).has_value()};
}

AppState AppControl::describe(const TappedAppInfo& row) const {
  AppState state;
  state.id = row.bundleID;
  state.name = row.name;
  state.isRunning = !row.audioObjectIDs.empty();
  state.isHidden = engine().rowSets().hiddenBundleIDs().contains(row.bundleID);
  state.isPinned = engine().rowSets().pinnedBundleIDs().contains(row.bundleID);
  state.control = controlName(mixer().controlOf(row.bundleID));
  state.hints = appHints(engine(), mixer(), row);
  state.equaliser = engine().effects().equaliserOf(row.bundleID);
  state.limiter = engine().effects().limiterOf(row.bundleID);
  state.meters = metersOf(row.bundleID).value_or(AppMeters{});
  if (const auto tap = engine().tapOf(row.bundleID)) {
    state.control = controlName(VolumeMixerControl::routed);
    state.volume = row.volume;
    state.isMuted = row.isMuted;
    state.bus = tap->busIndex;
    state.output = outputOf(row);
    return state;
  }
  if (engine().isRouteWaiting(row.bundleID)) {
    state.isRouteWaiting = true;
    state.bus = isRoutableBus(row.busIndex) ? row.busIndex : kBridgeBus;
    state.output = outputOf(row);
    state.volume = row.volume;
    state.isMuted = row.isMuted;
    return state;
  }
  const VolumeMixerAppState saved = mixer().appState(row.bundleID);
  state.volume = saved.volume;
  state.isMuted = saved.isMuted;
  return state;
}

AppMeters AppControl::metersOf(const SingleAppTap& tap, const std::string& id) const {
  const double rate = engine().sampleRateOf(tap);
  const RingReport ring = ringReport(id, tap.ring, rate);
  return {levelOf(tap, app_.context().hardware()), gainReductionDb(tap.limiterGain), ring.backlogMs,
          ring.underruns, stereoMilliseconds(2 * tap.leftOutFrames(), rate)};
}

AppMeters AppControl::metersOf(const VolumeMixerTap& tap) const {
  const TapLatencyStats stats = tap.latencyStats();
  const double rate = mixer().outputSampleRate();
  return {levelOf(tap, app_.context().platform.hardware()), gainReductionDb(tap.limiterGain),
          stereoMilliseconds(stats.backlogSamples, rate), stats.underruns,
          stereoMilliseconds(2 * tap.leftOutFrames(), rate)};
}

std::optional<AppMeters> AppControl::metersOf(const std::string& id) const {
  if (const auto tap = engine().tapOf(id)) return metersOf(*tap, id);
  const auto tap = mixer().activeTaps().find(id);
  return tap == mixer().activeTaps().end() ? std::nullopt : std::optional(metersOf(*tap->second));
}

std::map<std::string, AppMeters> AppControl::meters() const {
  std::map<std::string, AppMeters> all;
  for (const TappedAppInfo& row : *engine().availableApps)
    if (const auto one = metersOf(row.bundleID)) all[row.bundleID] = *one;
  return all;
}

bool AppControl::isAnyMetered() const {
  return !engine().routedBundleIDs().empty() || !mixer().activeTaps().empty();
}

// Of an app that may have lost its row.
AppState AppControl::describe(const std::string& id) const {
  if (const TappedAppInfo* row = engine().row(id)) return describe(*row);
  AppState state;
  state.id = state.name = id;
  state.control = controlName(VolumeMixerControl::none);
  return state;
}

Outcome<std::string> AppControl::find(const std::string& app) const {
  std::vector<AppName> names;
  for (const TappedAppInfo& row : *engine().availableApps) names.push_back({row.bundleID, row.name});
  return matchApp(app, names);
}

// What is set for an app that nobody has in hand is kept, and heard later.
void AppControl::noteIfUnheard(AppChange& change, const std::string& id) const {
  if (engine().tapOf(id)) return;
  if (engine().isRouteWaiting(id))
    change.notes.emplace_back(KeptForLater::kRouteWaits);
  else if (!*mixer().isEnabled)
    change.notes.emplace_back(KeptForLater::kMixerIsOff);
  else if (mixer().directBundleIDs->contains(id))
    change.notes.emplace_back(KeptForLater::kIsDirect);
}

Outcome<AppChange> AppControl::setVolume(const std::string& app, VolumeRequest request) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  if (!std::isfinite(request.value))
    return std::unexpected(controlError(ControlFault::badValue, "the volume is not a number"));
  AppChange change;
  const float present = describe(*id).volume;
  const float wanted = request.from(present);
  const float held = heldVolume(wanted, maxAppVolume(app_.context().flags.boostAllowed), change.notes);
  if (isRouted(*id))
    engine().setVolume(*id, held);
  else
    mixer().setVolume(*id, held);
  change.app = describe(*id);
  noteIfUnheard(change, *id);
  return change;
}

Outcome<AppChange> AppControl::setMuted(const std::string& app, SwitchRequest request) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  const bool muted = request == SwitchRequest::toggle ? !describe(*id).isMuted : request == SwitchRequest::on;
  if (!isRouted(*id))
    mixer().setMuted(*id, muted);
  else if (!engine().setMuted(*id, muted))
    return std::unexpected(controlError(ControlFault::failed,
                                        engine().errorMessage()->value_or("the mute could not be changed")));
  AppChange change{describe(*id), {}};
  noteIfUnheard(change, *id);
  return change;
}

Outcome<AppChange> AppControl::setEqualiser(const std::string& app, AppEQSettings settings) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  AppChange change;
  engine().effects().setAppEqualiser(*id, heldToRange(settings, change.notes), SettingForm::final);
  change.app = describe(*id);
  noteIfUnheard(change, *id);
  return change;
}

Outcome<AppChange> AppControl::setLimiter(const std::string& app, std::optional<double> ceilingDb) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  AppChange change;
  AppLimiterSettings settings = engine().effects().limiterOf(*id);
  settings.isEnabled = ceilingDb.has_value();
  if (ceilingDb) settings.ceilingDb = heldCeiling(*ceilingDb, change.notes);
  engine().effects().setAppLimiter(*id, settings, SettingForm::final);
  change.app = describe(*id);
  noteIfUnheard(change, *id);
  return change;
}

Outcome<AppChange> AppControl::setDirect(const std::string& app, bool direct) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  if (!mixer().setDirect(*id, direct))
    return std::unexpected(controlError(ControlFault::badValue,
                                        fmt::format("{} belongs to the system and can't be Direct", *id)));
  // Either answer to the offer.
  mixer().markDAWHintSeen(*id);
  return AppChange{describe(*id), {}};
}

Outcome<AppChange> AppControl::route(const std::string& app, std::optional<int> bus) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  if (bus && !isRoutableBus(*bus))
    return std::unexpected(controlError(
        ControlFault::badValue,
        fmt::format("bus {} is none that apps route to; those are 0, the bridge, and 2 to 9, Track 1 to 8",
                    *bus)));
  if (bus) {
    engine().setOutput(*id, {});
    engine().setBus(*id, *bus);
  }
  if (!engine().setRouted(*id, bus.has_value()))
    return std::unexpected(controlError(
        ControlFault::failed, fmt::format("{} could not be routed: {}", *id,
                                          engine().errorMessage()->value_or("its tap could not be made"))));
  AppChange change{describe(*id), {}};
  if (bus && !engine().isGlobalEnabled())
    change.notes.emplace_back(KeptForLater::kRoutingIsOff);
  else if (bus && !change.app.isRunning)
    change.notes.push_back(fmt::format("{} is not playing; its route waits for it", *id));
  return change;
}

Outcome<DeviceFacts> AppControl::findOutput(const std::string& device) const {
  std::vector<AppName> names;
  for (const DeviceFacts& each : *app_.context().devices.devices())
    if (each.outputChannels > 0 && !each.isOwn) names.push_back({each.uid, each.name});
  const auto uid = matchName(device, names, {"output device", "output devices"});
  if (!uid) return std::unexpected(uid.error());
  return *app_.context().devices.withUID(*uid);
}

Outcome<AppChange> AppControl::setOutput(const std::string& app,
                                         const std::optional<OutputRequest>& request) {
  const auto id = find(app);
  if (!id) return std::unexpected(id.error());
  if (!request) return play(*id, {}, {});
  const auto& [text, left, right] = *request;
  const auto isChannel = [](int channel) { return channel >= 1 && channel <= kMostOutputChannels; };
  if (!isChannel(left) || !isChannel(right) || left == right)
    return std::unexpected(
        controlError(ControlFault::badValue,
                     fmt::format("{}/{} is no pair of channels; give two different ones from 1 to {}", left,
                                 right, kMostOutputChannels)));
  const auto device = findOutput(text);
  if (!device) return std::unexpected(device.error());
  std::vector<std::string> notes;
  if (std::max(left, right) > std::max(device->outputChannels, 2))
    notes.push_back(fmt::format("{} has {} output channels — pair {}/{} unavailable, using 1–2 (intent kept)",
                                device->name, device->outputChannels, left, right));
  return play(*id, {device->uid, left - 1, right - 1}, std::move(notes));
}

Outcome<AppChange> AppControl::play(const std::string& id, const OutputWish& wish,
                                    std::vector<std::string> notes) {
  const bool isOnDevice = !wish.deviceUID.empty();
  const bool isDone = engine().setOutput(id, wish) && (!isOnDevice || engine().setRouted(id, true));
  AppChange change{describe(id), std::move(notes)};
  const bool isRefused = isOnDevice && engine().tapOf(id) && !engine().tapOf(id)->isOnDevice();
  if (!isDone || isRefused)
    return std::unexpected(controlError(
        ControlFault::failed, engine().errorMessage()->value_or("the app's tap could not be made anew")));
  if (isOnDevice && !engine().isGlobalEnabled())
    change.notes.emplace_back(KeptForLater::kRoutingIsOff);
  else if (isOnDevice && !change.app.isRunning)
    change.notes.push_back(fmt::format("{} is not playing; its route waits for it", id));
  return change;
}

Outcome<AppChange> AppControl::setRow(const std::string& app, Row change) {
  auto id = find(app);
  if (!id && change == Row::unhide) {
    std::vector<AppName> removed;
    for (const std::string& gone : this->removed()) removed.push_back({gone, gone});
    if (auto other = matchApp(app, removed)) id = other;
  }
  if (!id) return std::unexpected(id.error());
  if (change == Row::automatic && *id != FamilyRules::kCallAudioKey)
    return std::unexpected(controlError(ControlFault::badValue,
                                        "only the row of calls shows and hides itself; use hide or unhide"));
  switch (change) {
    case Row::hide:
      engine().visibility().hide(*id);
      break;
    case Row::unhide:
      engine().visibility().restore(*id);
      engine().visibility().unhide(*id);
      break;
    case Row::pin:
      engine().visibility().pin(*id);
      break;
    case Row::unpin:
      engine().visibility().unpin(*id);
      break;
    case Row::remove:
      engine().visibility().remove(*id);
      break;
    case Row::automatic:
      engine().visibility().removeCallAudioOverride();
      break;
  }
  return AppChange{describe(*id), {}};
}

}  // namespace sonmere
