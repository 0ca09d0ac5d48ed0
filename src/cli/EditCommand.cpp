#include "cli/EditCommand.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/ArgumentText.h"
#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "cli/TrackEdit.h"
#include "cli/UserSettings.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SourceBitDepth.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

namespace {

double decibels(double linear) { return 20 * std::log10(linear); }

// An edit on its way from the arguments to the file.
class Edit {
 public:
  explicit Edit(const EditArguments& arguments)
      : arguments_(arguments), work_("edit", arguments.save ? "Saving" : "Measuring", arguments.json) {}

  int run();

 private:
  Outcome<void> readEdits();
  Outcome<Loudness> measure();
  Outcome<void> save();
  void print();

  EditArguments arguments_;
  FileWork work_;
  TrackEdit edit_{arguments_, work_};
  MixTrackInput track_;
  ExportFormat format_;
  std::optional<Loudness> loudness_;  // of what the edit gives
};

int Edit::run() {
  if (!arguments_.save && !arguments_.loudness)
    return work_.tell(kExitBadInput, "name the new file with --save FILE, or measure with --loudness");
  auto chosen = chosenFile(work_, arguments_.file);
  if (!chosen) return work_.badInput(chosen.error());
  arguments_.file = std::move(*chosen);
  auto whole = wholeFile(arguments_.file);
  if (!whole) return work_.badInput(whole.error());
  track_ = std::move(*whole);
  if (auto read = readEdits(); !read) return work_.fail(read.error());
  if (auto normalised = edit_.normalise(track_); !normalised) return work_.fail(normalised.error());
  if (arguments_.loudness) {
    const auto measured = measure();
    if (!measured) return work_.fail(measured.error());
    loudness_ = *measured;
  }
  if (arguments_.save)
    if (auto saved = save(); !saved) return work_.fail(saved.error());
  work_.tellNotes();
  print();
  return kExitSuccess;
}

Outcome<void> Edit::readEdits() {
  if (auto read = edit_.readInto(track_); !read) return read;
  if (!arguments_.save) return {};
  if (auto checked = checkOutputFile(*arguments_.save, std::span(&track_.url, 1), arguments_.force); !checked)
    return checked;
  const auto settings = UserSettings::read(work_.warn());
  if (!settings) return std::unexpected(settings.error());
  const auto format = readExportFormat(arguments_.format, *arguments_.save, settings->exportFormat);
  if (!format) return std::unexpected(format.error());
  format_ = *format;
  return {};
}

Outcome<Loudness> Edit::measure() {
  auto source = TrackReader::open(track_);
  if (!source) return std::unexpected(source.error());
  return measureLoudness(**source, work_.progress());
}

Outcome<void> Edit::save() {
  const RecordingBitDepth depth = sourceBitDepth(track_.url);
  const SessionExporter::Options options{.format = format_, .depth = depth, .mayReplace = arguments_.force};
  auto saved = SessionExporter(work_.log()).exportTrack(track_, *arguments_.save, options, work_.progress());
  if (saved) work_.noteClipping(format_, depth);
  return saved;
}

void Edit::print() {
  const TrimRange& range = track_.range;
  const double seconds = double(range.length()) / range.sampleRate;
  if (arguments_.json) {
    nlohmann::ordered_json all{
        {"file", arguments_.file},
        {"saved", arguments_.save ? nlohmann::ordered_json(*arguments_.save) : nullptr},
        {"startFrame", range.startFrame},
        {"endFrame", range.endFrame},
        {"fadeInFrames", range.fadeInFrames},
        {"fadeOutFrames", range.fadeOutFrames},
        {"gain", shortest(range.gainLinear)},
        {"sampleRate", range.sampleRate},
        {"seconds", seconds}};
    if (arguments_.save) all["format"] = name(format_);
    if (const auto& notes = work_.progress().notes(); !notes.empty()) all["notes"] = notes;
    if (loudness_) all["loudness"] = loudnessJSON(*loudness_);
    printJSON(all);
    return;
  }
  if (arguments_.save)
    fmt::print("{}: {}, {}, gain {}\n", printable(*arguments_.save), lengthText(seconds, 3), name(format_),
               range.gainLinear > 0 ? fmt::format("{:+.1f} dB", decibels(double(range.gainLinear))) : "0");
  if (loudness_) fmt::print("loudness: {}\n", loudnessText(*loudness_));
}

}  // namespace

int runEditCommand(const EditArguments& arguments) { return Edit(arguments).run(); }

}  // namespace sonmere
