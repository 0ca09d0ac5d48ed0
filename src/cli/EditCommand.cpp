#include "cli/EditCommand.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "cli/UserSettings.h"
#include "editor/export/LoudnessGain.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/PeakMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SourceBitDepth.h"
#include "editor/track/TrackReader.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace {

constexpr double kQuietestLUFS = -70, kLoudestLUFS = 0;

double decibels(double linear) { return 20 * std::log10(linear); }

// An edit on its way from the arguments to the file.
class Edit {
 public:
  explicit Edit(const EditArguments& arguments)
      : arguments_(arguments), work_("edit", arguments.save ? "Saving" : "Measuring", arguments.json) {}

  int run();

 private:
  Outcome<void> readEdits();
  Outcome<void> readFade(const char* option, const std::optional<std::string>& text, std::int64_t& frames);
  Outcome<void> readGain();
  Outcome<void> normalise();
  Outcome<void> normalisePeak();
  Outcome<void> normaliseLoudness(double target);
  Outcome<Loudness> measure();
  Outcome<void> save();
  void print();
  void note(const std::string& text) const { work_.tell(kExitSuccess, text); }

  const EditArguments& arguments_;
  FileWork work_;
  MixTrackInput track_;
  std::optional<double> targetLUFS_;
  ExportFormat format_;
  std::optional<Loudness> loudness_;  // of what the edit gives
};

int Edit::run() {
  if (!arguments_.save && !arguments_.loudness)
    return work_.tell(kExitBadInput, "name the new file with --save FILE, or measure with --loudness");
  auto whole = wholeFile(arguments_.file);
  if (!whole) return work_.badInput(whole.error());
  track_ = std::move(*whole);
  if (auto read = readEdits(); !read) return work_.fail(read.error());
  if (auto normalised = normalise(); !normalised) return work_.fail(normalised.error());
  if (arguments_.loudness) {
    const auto measured = measure();
    if (!measured) return work_.fail(measured.error());
    loudness_ = *measured;
  }
  if (arguments_.save)
    if (auto saved = save(); !saved) return work_.fail(saved.error());
  print();
  return kExitSuccess;
}

Outcome<void> Edit::readEdits() {
  if (arguments_.trim) {
    const auto times = readTimeRange("--trim", *arguments_.trim);
    if (!times) return std::unexpected(times.error());
    const auto range = trimTo(track_.range, "--trim " + *arguments_.trim, *times);
    if (!range) return std::unexpected(range.error());
    const double end = double(track_.range.totalFrames) / track_.range.sampleRate;
    if (times->until && *times->until > end)
      note(fmt::format("--trim: held to the file's end at {}", lengthText(end, 3)));
    track_.range = *range;
  }
  if (auto read = readFade("--fade-in", arguments_.fadeIn, track_.range.fadeInFrames); !read) return read;
  if (auto read = readFade("--fade-out", arguments_.fadeOut, track_.range.fadeOutFrames); !read) return read;
  if (auto read = readGain(); !read) return read;
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

Outcome<void> Edit::readFade(const char* option, const std::optional<std::string>& text,
                             std::int64_t& frames) {
  if (!text) return {};
  const auto seconds = readTime(option, *text);
  if (!seconds) return std::unexpected(seconds.error());
  frames = std::llround(*seconds * track_.range.sampleRate);
  if (frames > track_.range.length()) {
    frames = track_.range.length();
    note(fmt::format("{}: held to {}, the length of what is kept", option,
                     lengthText(double(frames) / track_.range.sampleRate, 3)));
  }
  return {};
}

Outcome<void> Edit::readGain() {
  if (arguments_.gain && arguments_.normalise)
    return badArgument("--gain and --normalise both set the gain; use one of them");
  if (arguments_.gain) {
    const auto wanted = readNumber(*arguments_.gain);
    if (!wanted)
      return badArgument(fmt::format("--gain: \"{}\" is not a number of decibels", *arguments_.gain));
    const double most = decibels(TrimEdit::kMaximumGain);
    if (*wanted > most) note(fmt::format("--gain: held to {:.1f} dB, the most there is", most));
    track_.range.gainLinear = float(TrimEdit::gainOfDecibels(*wanted));
  }
  if (!arguments_.normalise || *arguments_.normalise == "peak") return {};
  targetLUFS_ = readNumber(*arguments_.normalise);
  if (targetLUFS_ && *targetLUFS_ >= kQuietestLUFS && *targetLUFS_ <= kLoudestLUFS) return {};
  return badArgument(fmt::format("--normalise: \"{}\" is neither \"peak\" nor a loudness from {} to {} LUFS",
                                 *arguments_.normalise, kQuietestLUFS, kLoudestLUFS));
}

Outcome<void> Edit::normalise() {
  if (!arguments_.normalise) return {};
  return targetLUFS_ ? normaliseLoudness(*targetLUFS_) : normalisePeak();
}

Outcome<void> Edit::normalisePeak() {
  MixTrackInput withoutFades = track_;
  withoutFades.range.fadeInFrames = withoutFades.range.fadeOutFrames = 0;
  auto source = TrackReader::open(withoutFades);
  if (!source) return std::unexpected(source.error());
  const auto peak = measurePeak(**source, work_.progress());
  if (!peak) return std::unexpected(peak.error());
  if (*peak == 0) note("--normalise: this is silent; the gain stays as it is");
  track_.range.gainLinear = TrimEdit::normalizingGain(*peak, track_.range.gainLinear);
  return {};
}

Outcome<void> Edit::normaliseLoudness(double target) {
  const auto measured = measure();
  if (!measured) return std::unexpected(measured.error());
  if (!std::isfinite(measured->integratedLUFS))
    note("--normalise: this is silent or too short to have a loudness; the gain stays as it is");
  const LoudnessGain gain = gainToLoudness(*measured, target);
  track_.range.gainLinear = gain.gainLinear;
  if (gain.isLimited)
    note(fmt::format("--normalise: held to a gain of {:.1f} dB, which gives {:.1f} LUFS",
                     decibels(TrimEdit::kMaximumGain), gain.integratedLUFS));
  if (gain.passesFullScale())
    note(fmt::format("--normalise: the true peak is then {:+.1f} dBTP, above full scale", gain.truePeakDb));
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
  if (saved) work_.tellNotes(format_, depth);
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
