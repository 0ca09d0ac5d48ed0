#include "control/RoutingControl.h"

#include <fmt/format.h>

#include "audio/device/BusName.h"
#include "base/PrintableText.h"
#include "control/ControlError.h"
#include "control/EffectLimits.h"
#include "dsp/Level.h"

namespace sonmere {

namespace {

std::optional<Error> refusal(int bus) {
  if (isRoutableBus(bus)) return std::nullopt;
  return controlError(
      ControlFault::badValue,
      fmt::format("bus {} is none that apps route to; those are 0, the bridge, and 2 to 9, Track 1 to 8",
                  bus));
}

constexpr std::size_t kLongestName = 200;  // bytes

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

}  // namespace

RoutingOverview RoutingControl::state() const {
  RoutingOverview state;
  state.isEnabled = engine().isGlobalEnabled();
  for (const TappedAppInfo& row : *engine().availableApps)
    if (engine().isRouteWaiting(row.bundleID)) state.waiting.push_back(row.bundleID);
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isRoutableBus(bus)) state.buses.push_back(describe(bus));
  state.error = *engine().errorMessage();
  return state;
}

std::map<int, float> RoutingControl::reductions() const {
  std::map<int, float> all;
  for (const BusState& bus : state().buses)
    if (bus.isRunning) all[bus.bus] = bus.gainReductionDb;
  return all;
}

RoutingChange RoutingControl::setEnabled(bool enabled) {
  engine().setGlobalEnabled(enabled);
  return {state(), {}};
}

BusState RoutingControl::describe(int bus) const {
  const auto at = std::size_t(bus);
  BusState state;
  state.bus = bus;
  state.name = busName(bus);
  const auto& names = *app_.trackNames().trackNames;
  if (const auto found = names.find(bus); found != names.end()) state.givenName = found->second;
  state.isRecording = app_.recordings()->isRecording(bus);
  state.isRunning = engine().isBusRunning(bus);
  state.apps = engine().appsOn(bus);
  state.equaliser = engine().effects().masterEQSettings.get()[at];
  state.limiter = engine().effects().masterLimiterSettings.get()[at];
  if (state.limiter.isEnabled && state.isRunning)
    state.gainReductionDb = gainReductionDb(engine().busLimiterGain(bus));
  return state;
}

Outcome<BusState> RoutingControl::bus(int bus) const {
  if (const auto error = refusal(bus)) return std::unexpected(*error);
  return describe(bus);
}

Outcome<BusState> RoutingControl::rename(int bus, const std::string& name) {
  if (!isRoutableBus(bus) || bus == kBridgeBus)
    return refuse(fmt::format("{} keeps its name; Tracks can be named",
                              isRoutableBus(bus) ? busLabel(bus) : fmt::format("bus {}", bus)));
  if (name.size() > kLongestName || printable(name) != name)
    return refuse(fmt::format("a name has at most {} bytes, and no control characters", kLongestName));
  if (const auto other = busFromText(name); other || name == "off")
    return refuse(fmt::format("\"{}\" means {} already", name, other ? busLabel(*other) : "no bus"));
  for (const auto& [taken, same] : tracksNamed(name, *app_.trackNames().trackNames))
    if (taken != bus) return refuse(fmt::format("\"{}\" is the name of {} already", same, busLabel(taken)));
  app_.trackNames().setTrackName(bus, name);
  return describe(bus);
}

Outcome<BusChange> RoutingControl::setEqualiser(int bus, AppEQSettings settings) {
  if (const auto error = refusal(bus)) return std::unexpected(*error);
  BusChange change;
  engine().effects().setMasterEqualiser(bus, heldToRange(settings, change.notes), SettingForm::final);
  change.bus = describe(bus);
  return change;
}

Outcome<BusChange> RoutingControl::setLimiter(int bus, std::optional<double> ceilingDb) {
  if (const auto error = refusal(bus)) return std::unexpected(*error);
  BusChange change;
  MasterLimiterSettings settings = engine().effects().masterLimiterSettings.get()[std::size_t(bus)];
  settings.isEnabled = ceilingDb.has_value();
  if (ceilingDb) settings.ceilingDb = heldCeiling(*ceilingDb, change.notes);
  engine().effects().setMasterLimiter(bus, settings, SettingForm::final);
  change.bus = describe(bus);
  return change;
}

}  // namespace sonmere
