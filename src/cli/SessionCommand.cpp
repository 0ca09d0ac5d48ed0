#include "cli/SessionCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/VirtualRuntime.h"
#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "cli/UserSettings.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SessionMix.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "editor/sidecar/SessionTracks.h"
#include "recording/library/RecordingScanner.h"

namespace sonmere {

namespace {

// Of the sessions that fit a stamp's beginning so many are named.
constexpr std::size_t kMostNamed = 6;

struct OpenSession {
  RecordingSession session;
  std::vector<SessionTrack> tracks;
  // A mix has the rate of the session's first file, whether that is heard or not.
  double sampleRate() const { return tracks.front().input.range.sampleRate; }
  std::vector<std::string> urls() const {
    std::vector<std::string> urls;
    for (const SessionTrack& track : tracks) urls.push_back(track.input.url);
    return urls;
  }
  std::vector<MixTrackInput> audible() const {
    std::vector<MixTrackInput> inputs;
    for (const SessionTrack& track : tracks)
      if (track.isAudible) inputs.push_back(track.input);
    return inputs;
  }
};

// The session of a stamp, or of its beginning where only one begins so.
Outcome<RecordingSession> chooseSession(const std::vector<RecordingSession>& sessions,
                                        const std::string& stamp, const std::string& folder) {
  std::vector<const RecordingSession*> fitting;
  for (const RecordingSession& session : sessions) {
    if (session.timestampString == stamp) return session;
    if (session.timestampString.starts_with(stamp)) fitting.push_back(&session);
  }
  if (fitting.size() == 1) return *fitting[0];
  if (fitting.empty()) return badArgument(fmt::format("{}: there is no session \"{}\"", folder, stamp));
  std::string stamps;
  for (std::size_t i = 0; i < std::min(fitting.size(), kMostNamed); ++i)
    stamps += (stamps.empty() ? "\"" : ", \"") + fitting[i]->timestampString + "\"";
  if (fitting.size() > kMostNamed) stamps += fmt::format(" and {} more", fitting.size() - kMostNamed);
  return badArgument(fmt::format("\"{}\" fits several sessions: {}", stamp, stamps));
}

Outcome<OpenSession> openSession(FileWork& work, const SessionArguments& arguments,
                                 const UserSettings& settings) {
  if (arguments.stamp.empty()) return badArgument("the session's stamp is empty");
  Outcome<std::string> folder = settings.recordingsFolder;
  if (arguments.folder)
    folder = readFolder("--folder", *arguments.folder);
  else if (settings.unavailable)
    work.tell(kExitSuccess, *settings.unavailable);
  if (!folder) return std::unexpected(folder.error());
  const RecordingScan scan = RecordingScanner(work.log()).scan(*folder, VirtualRuntime::today());
  if (scan.error) return std::unexpected(*scan.error);
  auto session = chooseSession(scan.sessions, arguments.stamp, *folder);
  if (!session) return std::unexpected(session.error());
  const auto edits = SessionEditsSidecar(work.log()).load(*folder);
  auto tracks = sessionTracks(*session, edits);
  if (!tracks) return std::unexpected(tracks.error());
  return OpenSession{std::move(*session), std::move(*tracks)};
}

nlohmann::ordered_json trackJSON(const SessionTrack& track) {
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
          {"audible", track.isAudible}};
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
               track.muted       ? "muted"
               : track.soloed    ? "solo"
               : track.isAudible ? "yes"
                                 : "no");
  }
}

Outcome<void> requireAudible(const OpenSession& open) {
  if (!open.audible().empty()) return {};
  return badArgument("every track is muted, or left out by a solo: there is nothing to mix");
}

Outcome<Loudness> measureMix(FileWork& work, const OpenSession& open) {
  if (auto audible = requireAudible(open); !audible) return std::unexpected(audible.error());
  auto mix = SessionMix::open(open.audible(), open.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  return measureLoudness(**mix, work.progress());
}

// Stems are WAV unless told otherwise: they are for another program to go on with.
Outcome<ExportFormat> formatOf(const SessionArguments& arguments, const UserSettings& settings) {
  if (arguments.stems) return readExportFormat(arguments.format, "", ExportFormat{});
  return readExportFormat(arguments.format, arguments.out, settings.exportFormat);
}

// What would be found only after much work.
Outcome<void> checkExport(const OpenSession& open, const SessionArguments& arguments) {
  if (arguments.stems) return checkOutputFolder(arguments.out);
  if (auto audible = requireAudible(open); !audible) return audible;
  return checkOutputFile(arguments.out, open.urls(), arguments.force);
}

Outcome<std::vector<std::string>> exportTo(FileWork& work, const OpenSession& open,
                                           const SessionArguments& arguments,
                                           const SessionExporter::Options& options) {
  SessionExporter exporter(work.log());
  if (!arguments.stems) {
    const auto done = exporter.exportMix(open.audible(), arguments.out, options, work.progress());
    if (!done) return std::unexpected(done.error());
    return std::vector{arguments.out};
  }
  std::vector<SessionExporter::Stem> stems;
  for (const SessionTrack& track : open.tracks) stems.push_back({track.input, track.name});
  return exporter.exportStems(stems, arguments.out, options, work.progress());
}

}  // namespace

int runSessionShow(const SessionArguments& arguments) {
  FileWork work("session", "Measuring", arguments.json);
  const auto settings = UserSettings::read(work.warn());
  if (!settings) return work.fail(settings.error());
  const auto open = openSession(work, arguments, *settings);
  if (!open) return work.badInput(open.error());
  std::optional<Loudness> loudness;
  if (arguments.loudness) {
    const auto measured = measureMix(work, *open);
    if (!measured) return work.fail(measured.error());
    loudness = *measured;
  }
  if (!arguments.json) {
    printTable(*open);
    if (loudness) fmt::print("mix: {}\n", loudnessText(*loudness));
    return kExitSuccess;
  }
  nlohmann::ordered_json tracks = nlohmann::ordered_json::array();
  for (const SessionTrack& track : open->tracks) tracks.push_back(trackJSON(track));
  nlohmann::ordered_json all{{"session", open->session.timestampString}, {"tracks", tracks}};
  if (loudness) all["loudness"] = loudnessJSON(*loudness);
  printJSON(all);
  return kExitSuccess;
}

int runSessionExport(const SessionArguments& arguments) {
  FileWork work("session", "Exporting", arguments.json);
  const auto settings = UserSettings::read(work.warn());
  if (!settings) return work.fail(settings.error());
  const auto format = formatOf(arguments, *settings);
  if (!format) return work.badInput(format.error());
  const auto open = openSession(work, arguments, *settings);
  if (!open) return work.badInput(open.error());
  if (const auto checked = checkExport(*open, arguments); !checked) return work.fail(checked.error());
  const auto paths = exportTo(work, *open, arguments,
                              {.format = *format,
                               .depth = settings->bitDepth,
                               .mayReplace = arguments.force,
                               .sampleRate = open->sampleRate(),
                               .originals = open->urls()});
  if (!paths) return work.fail(paths.error());
  work.tellNotes(*format, settings->bitDepth);
  if (arguments.json) {
    nlohmann::ordered_json all{{"session", open->session.timestampString},
                               {"kind", arguments.stems ? "stems" : "mix"},
                               {"format", name(*format)},
                               {"files", *paths}};
    if (const auto& notes = work.progress().notes(); !notes.empty()) all["notes"] = notes;
    printJSON(all);
    return kExitSuccess;
  }
  for (const std::string& path : *paths) fmt::print("{}\n", printable(path));
  return kExitSuccess;
}

}  // namespace sonmere
