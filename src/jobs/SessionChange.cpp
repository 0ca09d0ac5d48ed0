#include "jobs/SessionChange.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "editor/sidecar/SessionEditsSidecar.h"
#include "jobs/JobError.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

std::string fileNameOf(const SessionTrack& track) { return fs::path(track.input.url).filename().string(); }

// Each once.
Outcome<std::vector<SessionTrack*>> chosenTracks(OpenSession& open, const SessionChange& change) {
  std::vector<SessionTrack*> chosen;
  if (change.all)
    for (SessionTrack& track : open.tracks) chosen.push_back(&track);
  for (const std::string& name : change.tracks) {
    const auto fits = [&](const SessionTrack& track) {
      return track.name == name || fileNameOf(track) == fs::path(name).filename().string();
    };
    const auto found = std::ranges::find_if(open.tracks, fits);
    if (found == open.tracks.end()) return badRequest(fmt::format("there is no track \"{}\"", name));
    if (std::ranges::find(chosen, &*found) == chosen.end()) chosen.push_back(&*found);
  }
  return chosen;
}

Outcome<void> editTrack(SessionTrack& track, const SessionChange& change, const JobContext& context) {
  MixTrackInput& input = track.input;
  if (track.unreadable && change.change.isEmpty()) return {};
  if (track.unreadable) return badRequest(track.unreadable->description);
  if (change.reset) input.range = TrimRange::whole(input.range.totalFrames, input.range.sampleRate);
  if (auto applied = applyChange(change.change, input.range, context.progress); !applied) return applied;
  if (!change.change.normalising) return {};
  return normaliseTrack(*change.change.normalising, input, context.progress);
}

void takeOver(const SessionChange& change, const SessionTrack& track, PersistedTrackEdits& edits) {
  const TrimRange& range = track.input.range;
  if (change.reset) edits = {};
  if (change.change.trim) {
    edits.trimStartFrame = range.startFrame;
    edits.trimEndFrame = range.endFrame;
  }
  if (change.change.fadeIn) edits.fadeInFrames = range.fadeInFrames;
  if (change.change.fadeOut) edits.fadeOutFrames = range.fadeOutFrames;
  if (change.change.gainDb || change.change.normalising) edits.gainLinear = range.gainLinear;
  if (change.mute) edits.muted = *change.mute;
  if (change.solo) edits.soloed = *change.solo;
}

}  // namespace

Outcome<void> changeSession(OpenSession& open, const SessionChange& change, const JobContext& context) {
  const auto tracks = chosenTracks(open, change);
  if (!tracks) return std::unexpected(tracks.error());
  for (SessionTrack* track : *tracks)
    if (auto edited = editTrack(*track, change, context); !edited) return edited;
  SessionEditsSidecar sidecar(context.log);
  auto saved = sidecar.change(open.folder, [&](PersistedSessionEdits& edits) {
    edits.sessionTimestamp = open.session.timestampString;
    for (const SessionTrack* track : *tracks) takeOver(change, *track, edits.tracks[fileNameOf(*track)]);
    return Outcome<void>();
  });
  if (!saved) return saved;
  open.tracks = sessionTracks(open.session, sidecar.load(open.folder));
  return {};
}

}  // namespace sonmere
