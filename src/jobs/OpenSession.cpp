#include "jobs/OpenSession.h"

#include <fmt/format.h>

#include <algorithm>

#include "editor/export/LoudnessMeter.h"
#include "editor/export/SessionMix.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "jobs/JobError.h"
#include "jobs/RecordingJobs.h"
#include "recording/library/RecordingChoice.h"

namespace sonmere {

double OpenSession::sampleRate() const {
  const auto first =
      std::ranges::find_if(tracks, [](const SessionTrack& track) { return !track.unreadable; });
  return first == tracks.end() ? 0 : first->input.range.sampleRate;
}

std::vector<std::string> OpenSession::urls() const {
  std::vector<std::string> all;
  for (const SessionTrack& track : tracks) all.push_back(track.input.url);
  return all;
}

std::vector<MixTrackInput> OpenSession::audible() const {
  std::vector<MixTrackInput> inputs;
  for (const SessionTrack& track : tracks)
    if (track.isAudible && !track.unreadable) inputs.push_back(track.input);
  return inputs;
}

const SessionTrack* OpenSession::unreadableInMix() const {
  const auto found = std::ranges::find_if(
      tracks, [](const SessionTrack& track) { return track.unreadable && track.isAudible; });
  return found == tracks.end() ? nullptr : &*found;
}

Outcome<OpenSession> openSession(const std::string& folder, const std::string& choice,
                                 const JobContext& context) {
  const auto scan = scanRecordings(folder, context);
  if (!scan) return std::unexpected(scan.error());
  const auto session = chooseSession(scan->sessions, choice);
  if (!session) return badRequest(fmt::format("{}: {}", folder, session.error().description));
  OpenSession open{folder, **session, {}};
  open.tracks = sessionTracks(open.session, SessionEditsSidecar(context.log).load(folder));
  for (const SessionTrack& track : open.tracks)
    if (track.unreadable) context.progress.note(track.unreadable->description);
  return open;
}

Outcome<void> checkMix(const OpenSession& open) {
  if (const SessionTrack* track = open.unreadableInMix())
    return badRequest(track->unreadable->description, JobFault::unreadableTrack);
  if (!open.audible().empty()) return {};
  return badRequest("every track is muted, or left out by a solo: there is nothing to mix");
}

Outcome<Loudness> measureMix(const OpenSession& open, const JobContext& context) {
  if (auto checked = checkMix(open); !checked) return std::unexpected(checked.error());
  auto mix = SessionMix::open(open.audible(), open.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  return measureLoudness(**mix, context.progress);
}

}  // namespace sonmere
