#include "control/MixControl.h"

#include <fmt/format.h>

#include <cmath>

#include "control/ControlError.h"
#include "control/EffectLimits.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

std::optional<Error> refusal(int track) {
  if (track >= 1 && track <= MixModeEngine::kTracks) return std::nullopt;
  return controlError(ControlFault::badValue,
                      fmt::format("there is no Track {}; they are 1 to {}", track, MixModeEngine::kTracks));
}

}  // namespace

MixState MixControl::state() const {
  MixState state;
  state.isEnabled = *mix().isEnabled;
  state.isForbidden = mix().isKillSwitchActive();
  state.includesCatchAll = *mix().includeSystemAudio;
  state.isCatchAllRunning = routing().mixMode().isCatchAllRunning();
  state.catchAllVolume = *mix().systemAudioVolume;
  state.isAuditioning = *mix().previewStreamMix;
  state.hearsTracks = *mix().hearDAWTracks;
  for (int track = 1; track <= MixModeEngine::kTracks; ++track)
    state.tracks.push_back({track, mix().dawTrackVolumes.get()[std::size_t(track - 1)],
                            mix().dawTrackMuted.get()[std::size_t(track - 1)]});
  for (const TappedAppInfo& row : *routing().availableApps)
    if (routing().tapOf(row.bundleID))
      state.apps.push_back({row.bundleID, row.name, row.monitorLinked ? row.volume : row.monitorVolume,
                            row.volume, row.monitorLinked});
  state.heals = *routing().mixMode().watchdog().healCount;
  return state;
}

MixChange MixControl::change(std::vector<std::string> notes) const {
  MixChange change{state(), std::move(notes)};
  if (!change.mix.isEnabled) change.notes.emplace_back("kept for later: Mix Mode is off");
  return change;
}

Outcome<MixChange> MixControl::setEnabled(bool enabled) {
  const bool endsSystem = enabled && *app_.systemAudioEngine()->isEnabled;
  if (!mix().setEnabled(enabled))
    return std::unexpected(controlError(
        ControlFault::failed, fmt::format("Mix Mode is forbidden by the setting {}; switch that off first",
                                          MixModeEngine::kDisabledKey)));
  MixChange change{state(), {}};
  if (endsSystem) change.notes.emplace_back("system audio is off: both would capture everything that plays");
  if (const auto& error = *app_.monitorOutput()->errorMessage; enabled && error)
    change.notes.push_back("nothing is heard: " + *error);
  return change;
}

Outcome<MixChange> MixControl::setHear(const std::string& app, VolumeRequest request) {
  auto done = monitor_.setAppVolume(app, request);
  if (!done) return std::unexpected(done.error());
  return change(std::move(done->notes));
}

Outcome<MixChange> MixControl::setStream(const std::string& app, VolumeRequest request) {
  auto done = apps_.setVolume(app, request);
  if (!done) return std::unexpected(done.error());
  return MixChange{state(), std::move(done->notes)};
}

Outcome<MixChange> MixControl::setLinked(const std::string& app, bool linked) {
  auto done = monitor_.setLinked(app, linked);
  if (!done) return std::unexpected(done.error());
  return change(std::move(done->notes));
}

Outcome<MixChange> MixControl::setCatchAll(bool includes) {
  mix().setIncludeSystemAudio(includes);
  return change();
}

Outcome<MixChange> MixControl::setCatchAllVolume(VolumeRequest request) {
  if (!std::isfinite(request.value)) return refuse("the volume is not a number");
  std::vector<std::string> notes;
  mix().setSystemAudioVolume(heldVolume(request.from(*mix().systemAudioVolume), 1, notes));
  return change(std::move(notes));
}

Outcome<MixChange> MixControl::setAudition(bool auditions) {
  mix().setPreviewStreamMix(auditions);
  return change();
}

Outcome<MixChange> MixControl::setHearsTracks(bool hears) {
  mix().setHearDAWTracks(hears);
  return change();
}

MixChange MixControl::trackChange(std::vector<std::string> notes) const {
  MixChange made = change(std::move(notes));
  if (made.mix.isEnabled && !made.mix.hearsTracks)
    made.notes.emplace_back("kept for later: Mix Mode does not hear Tracks that other programs feed");
  return made;
}

Outcome<MixChange> MixControl::setTrackVolume(int track, VolumeRequest request) {
  if (const auto error = refusal(track)) return std::unexpected(*error);
  if (!std::isfinite(request.value)) return refuse("the volume is not a number");
  std::vector<std::string> notes;
  const float present = mix().dawTrackVolumes.get()[std::size_t(track - 1)];
  mix().setDAWTrackVolume(track, heldVolume(request.from(present), 1, notes));
  return trackChange(std::move(notes));
}

Outcome<MixChange> MixControl::setTrackMuted(int track, bool muted) {
  if (const auto error = refusal(track)) return std::unexpected(*error);
  mix().setDAWTrackMuted(track, muted);
  return trackChange();
}

}  // namespace sonmere
