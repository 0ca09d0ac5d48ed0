#include "cli/SessionCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/OpenSession.h"
#include "cli/Text.h"
#include "cli/UserSettings.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/PeakMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SessionMix.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

std::string fileNameOf(const SessionTrack& track) { return fs::path(track.input.url).filename().string(); }

// What should be heard and can't be would be missing from the result, which is not what was asked for.
Outcome<void> requireAudible(const OpenSession& open, const SessionArguments& arguments) {
  for (const SessionTrack& track : open.tracks)
    if (track.unreadable && track.isAudible)
      return badArgument(
          fmt::format("{}; to leave it out, mute it with \"sonmere session edit '{}' '{}' --mute\"",
                      track.unreadable->description, arguments.stamp, track.name));
  if (arguments.stems) return {};
  if (!open.audible().empty()) return {};
  return badArgument("every track is muted, or left out by a solo: there is nothing to mix");
}

Outcome<Loudness> measureMix(FileWork& work, const OpenSession& open, const SessionArguments& arguments) {
  if (auto audible = requireAudible(open, arguments); !audible) return std::unexpected(audible.error());
  auto mix = SessionMix::open(open.audible(), open.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  return measureLoudness(**mix, work.progress());
}

// Stems are WAV unless told otherwise: they are for another program to go on with.
Outcome<ExportFormat> formatOf(const SessionArguments& arguments, const UserSettings& settings) {
  if (arguments.stems && arguments.force)
    return badArgument("--force: stems replace nothing, they take free names; leave it out");
  if (arguments.stems) return readExportFormat(arguments.format, "", ExportFormat{});
  return readExportFormat(arguments.format, arguments.out, settings.exportFormat);
}

// What would be found only after much work.
Outcome<void> checkExport(const OpenSession& open, const SessionArguments& arguments) {
  if (auto audible = requireAudible(open, arguments); !audible) return audible;
  if (arguments.stems) return checkOutputFolder(arguments.out);
  return checkOutputFile(arguments.out, open.urls(), arguments.force);
}

float peakDecibels(float peak) { return 20 * std::log10(peak); }

// The gain of the whole export, on top of the tracks' own.
Outcome<float> gainOf(FileWork& work, const OpenSession& open, const SessionArguments& arguments) {
  const TrackEditArguments& edit = arguments.edit;
  if (edit.gain && edit.normalise)
    return badArgument("--gain and --normalise both set the gain; use one of them");
  if (edit.gain) return readEditGain(*edit.gain, work);
  if (!edit.normalise) return 1;
  if (arguments.stems)
    return badArgument(
        "--normalise is of a mix; give stems a --gain, or normalise tracks with \"session edit\"");
  const auto target = readLoudnessTarget(*edit.normalise);
  if (!target) return std::unexpected(target.error());
  auto mix = SessionMix::open(open.audible(), open.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  if (*target) {
    const auto loudness = measureLoudness(**mix, work.progress());
    if (!loudness) return std::unexpected(loudness.error());
    return gainForLoudness(*loudness, **target, work);
  }
  const auto peak = measurePeak(**mix, work.progress());
  if (!peak) return std::unexpected(peak.error());
  return TrimEdit::normalizingGain(*peak, 1);
}

void apply(float gain, OpenSession& open) {
  for (SessionTrack& track : open.tracks) track.input.range.gainLinear *= gain;
}

// Told before the work, so that it can be ended and done with another gain.
Outcome<void> foretellClipping(FileWork& work, const OpenSession& open, const ExportFormat& format,
                               RecordingBitDepth depth) {
  if (format.kind == ExportFormat::Kind::wav && depth == RecordingBitDepth::float32) return {};
  auto mix = SessionMix::open(open.audible(), open.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  const auto peak = measurePeak(**mix, work.progress());
  if (!peak) return std::unexpected(peak.error());
  if (*peak <= 1) return {};
  const double over = peakDecibels(*peak);
  work.progress().note(
      fmt::format("the mix is {:.1f} dB above full scale and will be clipped; --gain {:.1f} or "
                  "--normalise keeps it",
                  over, std::floor(-10 * over) / 10));
  work.tellNotes();
  return {};
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
  for (const SessionTrack& track : open.tracks)
    if (!track.unreadable) stems.push_back({track.input, track.name});
  return exporter.exportStems(stems, arguments.out, options, work.progress());
}

// The tracks that the arguments name, each once.
Outcome<std::vector<SessionTrack*>> chosenTracks(OpenSession& open, const SessionArguments& arguments) {
  std::vector<SessionTrack*> chosen;
  if (arguments.all)
    for (SessionTrack& track : open.tracks) chosen.push_back(&track);
  for (const std::string& name : arguments.tracks) {
    const auto fits = [&](const SessionTrack& track) {
      return track.name == name || fileNameOf(track) == fs::path(name).filename().string();
    };
    const auto found = std::ranges::find_if(open.tracks, fits);
    if (found == open.tracks.end())
      return badArgument(fmt::format("there is no track \"{}\"; see \"sonmere session show\"", name));
    if (std::ranges::find(chosen, &*found) == chosen.end()) chosen.push_back(&*found);
  }
  if (chosen.empty()) return badArgument("name the tracks to edit, or --all");
  return chosen;
}

// What of it the arguments ask for; the rest stays as another program may have left it meanwhile.
void takeOver(const SessionArguments& arguments, const SessionTrack& track, PersistedTrackEdits& edits) {
  const TrimRange& range = track.input.range;
  if (arguments.reset) edits = {};
  if (arguments.edit.trim) {
    edits.trimStartFrame = range.startFrame;
    edits.trimEndFrame = range.endFrame;
  }
  if (arguments.edit.fadeIn) edits.fadeInFrames = range.fadeInFrames;
  if (arguments.edit.fadeOut) edits.fadeOutFrames = range.fadeOutFrames;
  if (arguments.edit.gain || arguments.edit.normalise) edits.gainLinear = range.gainLinear;
  if (arguments.mute) edits.muted = *arguments.mute;
  if (arguments.solo) edits.soloed = *arguments.solo;
}

Outcome<void> editTracks(FileWork& work, const std::vector<SessionTrack*>& tracks,
                         const SessionArguments& arguments) {
  for (SessionTrack* track : tracks) {
    MixTrackInput& input = track->input;
    if (track->unreadable && arguments.edit.isEmpty()) continue;
    if (track->unreadable) return badArgument(track->unreadable->description);
    if (arguments.reset) input.range = TrimRange::whole(input.range.totalFrames, input.range.sampleRate);
    TrackEdit edit(arguments.edit, work);
    if (auto read = edit.readInto(input); !read) return read;
    if (auto normalised = edit.normalise(input); !normalised) return normalised;
  }
  return {};
}

}  // namespace

int runSessionEdit(const SessionArguments& arguments) {
  FileWork work("session", "Measuring", arguments.json);
  if (arguments.edit.isEmpty() && !arguments.mute && !arguments.solo && !arguments.reset)
    return work.tell(kExitBadInput,
                     "say what to change: --trim, --fade-in, --fade-out, --gain, --normalise, --mute, "
                     "--unmute, --solo, --unsolo or --reset");
  const auto settings = UserSettings::read(work.warn());
  if (!settings) return work.fail(settings.error());
  auto open = openSession(work, arguments.stamp, arguments.folder, *settings);
  if (!open) return work.badInput(open.error());
  const auto tracks = chosenTracks(*open, arguments);
  if (!tracks) return work.badInput(tracks.error());
  if (const auto edited = editTracks(work, *tracks, arguments); !edited) return work.fail(edited.error());
  const auto saved = SessionEditsSidecar(work.log()).change(open->folder, [&](PersistedSessionEdits& edits) {
    edits.sessionTimestamp = open->session.timestampString;
    for (const SessionTrack* track : *tracks) takeOver(arguments, *track, edits.tracks[fileNameOf(*track)]);
    return Outcome<void>();
  });
  if (!saved) return work.fail(saved.error());
  open->tracks = sessionTracks(open->session, SessionEditsSidecar(work.log()).load(open->folder));
  work.tellNotes();
  printSession(*open, std::nullopt, work.progress().notes(), arguments.json);
  return kExitSuccess;
}

int runSessionShow(const SessionArguments& arguments) {
  FileWork work("session", "Measuring", arguments.json);
  const auto settings = UserSettings::read(work.warn());
  if (!settings) return work.fail(settings.error());
  const auto open = openSession(work, arguments.stamp, arguments.folder, *settings);
  if (!open) return work.badInput(open.error());
  std::optional<Loudness> loudness;
  if (arguments.loudness) {
    const auto measured = measureMix(work, *open, arguments);
    if (!measured) return work.fail(measured.error());
    loudness = *measured;
  }
  work.tellNotes();
  printSession(*open, loudness, work.progress().notes(), arguments.json);
  return kExitSuccess;
}

int runSessionExport(const SessionArguments& arguments) {
  FileWork work("session", "Exporting", arguments.json);
  const auto settings = UserSettings::read(work.warn());
  if (!settings) return work.fail(settings.error());
  const auto format = formatOf(arguments, *settings);
  if (!format) return work.badInput(format.error());
  auto open = openSession(work, arguments.stamp, arguments.folder, *settings);
  if (!open) return work.badInput(open.error());
  if (const auto checked = checkExport(*open, arguments); !checked) return work.fail(checked.error());
  const auto gain = gainOf(work, *open, arguments);
  if (!gain) return work.fail(gain.error());
  apply(*gain, *open);
  if (!arguments.stems)
    if (const auto told = foretellClipping(work, *open, *format, settings->bitDepth); !told)
      return work.fail(told.error());
  const auto paths = exportTo(work, *open, arguments,
                              {.format = *format,
                               .depth = settings->bitDepth,
                               .mayReplace = arguments.force,
                               .sampleRate = open->sampleRate(),
                               .originals = open->urls()});
  if (!paths) return work.fail(paths.error());
  if (arguments.stems) work.noteClipping(*format, settings->bitDepth);
  work.tellNotes();
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
