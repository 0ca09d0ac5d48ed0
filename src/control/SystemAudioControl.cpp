#include "control/SystemAudioControl.h"

#include <fmt/format.h>

#include "control/AppMatch.h"
#include "control/ControlError.h"

namespace sonmere {

SystemAudioState SystemAudioControl::state() const {
  SystemAudioState state;
  state.isEnabled = *engine().isEnabled;
  state.isFollowing = *engine().followSystemDefault;
  const auto report = engine().sapRouteReport();
  state.isWhole = report.aggregateIsDefaultOutput && report.bridgeInAggregate && report.pairedOutputResolves;
  if (const auto& selected = *engine().selectedOutput) {
    state.output = selected->uid;
    state.outputName = selected->name;
  }
  for (const OutputCandidate& each : *engine().availableOutputDevices)
    state.devices.push_back({each.uid, each.name, each.uid == state.output});
  state.wasEndedByUpdate = engine().hasUpdateNotice();
  state.error = *engine().errorMessage;
  return state;
}

Outcome<SystemAudioChange> SystemAudioControl::setEnabled(bool enabled) {
  const bool endsMixMode = enabled && *app_.mixModeEngine()->isEnabled;
  if (!engine().setEnabled(enabled))
    return std::unexpected(controlError(ControlFault::failed, engine().errorMessage->value_or("")));
  SystemAudioChange change{state(), {}};
  if (endsMixMode) change.notes.emplace_back("Mix Mode is off: both would capture everything that plays");
  return change;
}

Outcome<SystemAudioChange> SystemAudioControl::select(const std::string& device) {
  std::vector<AppName> names;
  for (const OutputCandidate& each : outputCandidates(app_.context().devices))
    names.push_back({each.uid, each.name});
  const auto uid = matchName(device, names, {"output device", "output devices"});
  if (!uid) return std::unexpected(uid.error());
  engine().setFollowing(false);
  if (!engine().select(*uid))
    return std::unexpected(controlError(ControlFault::notFound, fmt::format("{} has just gone", *uid)));
  if (const auto& error = *engine().errorMessage)
    return std::unexpected(controlError(ControlFault::failed, *error));
  return SystemAudioChange{state(), {}};
}

Outcome<SystemAudioChange> SystemAudioControl::setFollowing(bool follows) {
  engine().setFollowing(follows);
  return SystemAudioChange{state(), {}};
}

Outcome<SystemAudioChange> SystemAudioControl::reset() {
  const auto report = engine().manualReset();
  SystemAudioChange change{state(), {}};
  for (const std::string& uid : report.staleMembers)
    change.notes.push_back(fmt::format("{} was part of it and is gone", uid));
  if (report.sweptAggregates > 0)
    change.notes.push_back(fmt::format("{} left from before removed", report.sweptAggregates));
  if (report.wasEnabled) change.notes.emplace_back("it is back in a moment");
  return change;
}

}  // namespace sonmere
