#include "cli/OpenSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/VirtualRuntime.h"
#include "cli/ArgumentText.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "recording/library/RecordingChoice.h"
#include "recording/library/RecordingScanner.h"

namespace sonmere {

namespace {

OutputJSON trackJSON(const SessionTrack& track) {
  const TrimRange& range = track.input.range;
  return {{"name", track.name},
          {"file", track.input.url},
          {"sampleRate", range.sampleRate},
          {"frames", range.totalFrames},
          {"startFrame", range.startFrame},
          {"endFrame", range.endFrame},
          {"fadeInFrames", range.fadeInFrames},
          {"fadeOutFrames", range.fadeOutFrames},
          {"gain", shortest(range.gainLinear)},
          {"soloed", track.soloed},
          {"muted", track.muted},
          {"audible", track.isAudible && !track.unreadable},
          {"unreadable", track.unreadable ? OutputJSON(track.unreadable->description) : nullptr}};
}

void printTable(const OpenSession& open) {
  fmt::print("{}\n{:<24} {:>11} {:>11} {:>11} {:>9} {:>9} {:>9}  {}\n", open.session.timestampString, "track",
             "length", "from", "to", "fade-in", "fade-out", "gain", "heard");
  for (const SessionTrack& track : open.tracks) {
    const TrimRange& range = track.input.range;
    const auto time = [&](std::int64_t frames) { return lengthText(double(frames) / range.sampleRate, 1); };
    fmt::print("{:<24} {:>11} {:>11} {:>11} {:>9} {:>9} {:>9}  {}\n", printable(track.name),
               time(range.totalFrames), time(range.startFrame), time(range.endFrame),
               time(range.fadeInFrames), time(range.fadeOutFrames),
               range.gainLinear > 0 ? fmt::format("{:+.1f} dB", 20 * std::log10(range.gainLinear)) : "0",
               track.muted        ? "muted"
               : track.unreadable ? "unreadable"
               : track.soloed     ? "solo"
               : track.isAudible  ? "yes"
                                  : "no");
  }
}

}  // namespace

Outcome<OpenSession> openSession(FileWork& work, const std::string& stamp,
                                 const std::optional<std::string>& wanted, const UserSettings& settings) {
  if (stamp.empty()) return badArgument("the session's stamp is empty");
  Outcome<std::string> folder = settings.recordingsFolder;
  if (wanted)
    folder = readFolder("--folder", *wanted);
  else if (settings.unavailable)
    work.tell(kExitSuccess, *settings.unavailable);
  if (!folder) return std::unexpected(folder.error());
  const RecordingScan scan = RecordingScanner(work.log()).scan(*folder, VirtualRuntime::today());
  if (scan.error) return std::unexpected(*scan.error);
  const auto session = chooseSession(scan.sessions, stamp);
  if (!session) return badArgument(fmt::format("{}: {}", *folder, session.error().description));
  const auto edits = SessionEditsSidecar(work.log()).load(*folder);
  OpenSession open{*folder, **session, {}};
  open.tracks = sessionTracks(open.session, edits);
  for (const SessionTrack& track : open.tracks)
    if (track.unreadable) work.progress().note(track.unreadable->description);
  return open;
}

void printSession(const OpenSession& open, const std::optional<Loudness>& loudness,
                  const std::vector<std::string>& notes, bool json) {
  if (!json) {
    printTable(open);
    if (loudness) fmt::print("mix: {}\n", loudnessText(*loudness));
    return;
  }
  OutputJSON tracks = OutputJSON::array();
  for (const SessionTrack& track : open.tracks) tracks.push_back(trackJSON(track));
  OutputJSON all{{"session", open.session.timestampString}, {"tracks", tracks}};
  if (loudness) all["loudness"] = loudnessJSON(*loudness);
  if (!notes.empty()) all["notes"] = notes;
  printJSON(all);
}

}  // namespace sonmere
