#include "cli/TrackEdit.h"

#include <fmt/format.h>

#include <cmath>

#include "cli/ArgumentText.h"
#include "cli/Text.h"
#include "editor/export/LoudnessGain.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/PeakMeter.h"
#include "editor/track/TrackReader.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace {

constexpr double kQuietestLUFS = -70, kLoudestLUFS = 0;

double decibels(double linear) { return 20 * std::log10(linear); }

}  // namespace

Outcome<float> readEditGain(const std::string& text, const FileWork& work) {
  const auto wanted = readNumber(text);
  if (!wanted) return badArgument(fmt::format("--gain: \"{}\" is not a number of decibels", text));
  const double most = decibels(TrimEdit::kMaximumGain);
  if (*wanted > most)
    work.tell(kExitSuccess, fmt::format("--gain: held to {:.1f} dB, the most there is", most));
  return float(TrimEdit::gainOfDecibels(*wanted));
}

Outcome<std::optional<double>> readLoudnessTarget(const std::string& text) {
  if (text == "peak") return std::nullopt;
  const auto target = readNumber(text);
  if (target && *target >= kQuietestLUFS && *target <= kLoudestLUFS) return target;
  return badArgument(fmt::format("--normalise: \"{}\" is neither \"peak\" nor a loudness from {} to {} LUFS",
                                 text, kQuietestLUFS, kLoudestLUFS));
}

float gainForLoudness(const Loudness& loudness, double targetLUFS, const FileWork& work) {
  const auto note = [&](const std::string& text) { work.tell(kExitSuccess, "--normalise: " + text); };
  if (!std::isfinite(loudness.integratedLUFS))
    note("this is silent or too short to have a loudness; the gain stays as it is");
  const LoudnessGain gain = gainToLoudness(loudness, targetLUFS);
  if (gain.isLimited)
    note(fmt::format("held to a gain of {:.1f} dB, which gives {:.1f} LUFS", decibels(TrimEdit::kMaximumGain),
                     gain.integratedLUFS));
  if (gain.passesFullScale())
    note(fmt::format("the true peak is then {:+.1f} dBTP, above full scale", gain.truePeakDb));
  return gain.gainLinear;
}

Outcome<void> TrackEdit::readInto(MixTrackInput& track) {
  TrimRange& range = track.range;
  if (auto read = readTrim(range); !read) return read;
  range = TrimEdit::held(range, range.totalFrames, range.sampleRate);
  if (auto read = readFade("--fade-in", arguments_.fadeIn, range, range.fadeInFrames); !read) return read;
  if (auto read = readFade("--fade-out", arguments_.fadeOut, range, range.fadeOutFrames); !read) return read;
  if (arguments_.gain && arguments_.normalise)
    return badArgument("--gain and --normalise both set the gain; use one of them");
  if (arguments_.gain) {
    const auto gain = readEditGain(*arguments_.gain, work_);
    if (!gain) return std::unexpected(gain.error());
    range.gainLinear = *gain;
  }
  if (!arguments_.normalise) return {};
  const auto target = readLoudnessTarget(*arguments_.normalise);
  return target ? Outcome<void>() : std::unexpected(target.error());
}

// Of the whole file, whatever was kept of it before.
Outcome<void> TrackEdit::readTrim(TrimRange& range) {
  if (!arguments_.trim) return {};
  const auto times = readTimeRange("--trim", *arguments_.trim);
  if (!times) return std::unexpected(times.error());
  TrimRange whole = range;
  whole.endFrame = whole.totalFrames;
  const auto trimmed = trimTo(whole, "--trim " + *arguments_.trim, *times);
  if (!trimmed) return std::unexpected(trimmed.error());
  const double end = double(range.totalFrames) / range.sampleRate;
  if (times->until && *times->until > end)
    note(fmt::format("--trim: held to the file's end at {}", lengthText(end, 3)));
  range = *trimmed;
  return {};
}

Outcome<void> TrackEdit::readFade(const char* option, const std::optional<std::string>& text,
                                  const TrimRange& range, std::int64_t& frames) {
  if (!text) return {};
  const auto seconds = readTime(option, *text);
  if (!seconds) return std::unexpected(seconds.error());
  frames = std::llround(*seconds * range.sampleRate);
  if (frames > range.length()) {
    frames = range.length();
    note(fmt::format("{}: held to {}, the length of what is kept", option,
                     lengthText(double(frames) / range.sampleRate, 3)));
  }
  return {};
}

Outcome<void> TrackEdit::normalise(MixTrackInput& track) {
  if (!arguments_.normalise) return {};
  const auto target = readLoudnessTarget(*arguments_.normalise);
  if (!target) return std::unexpected(target.error());
  return *target ? normaliseLoudness(track, **target) : normalisePeak(track);
}

// Without the gain that it had.
Outcome<void> TrackEdit::normalisePeak(MixTrackInput& track) {
  MixTrackInput plain = track;
  plain.range.fadeInFrames = plain.range.fadeOutFrames = 0;
  plain.range.gainLinear = 1;
  auto source = TrackReader::open(plain);
  if (!source) return std::unexpected(source.error());
  const auto peak = measurePeak(**source, work_.progress());
  if (!peak) return std::unexpected(peak.error());
  if (*peak == 0) note("--normalise: this is silent; the gain stays as it is");
  track.range.gainLinear = TrimEdit::normalizingGain(*peak, track.range.gainLinear);
  return {};
}

Outcome<void> TrackEdit::normaliseLoudness(MixTrackInput& track, double target) {
  MixTrackInput plain = track;
  plain.range.gainLinear = 1;
  auto source = TrackReader::open(plain);
  if (!source) return std::unexpected(source.error());
  const auto measured = measureLoudness(**source, work_.progress());
  if (!measured) return std::unexpected(measured.error());
  const float gain = gainForLoudness(*measured, target, work_);
  if (std::isfinite(measured->integratedLUFS)) track.range.gainLinear = gain;
  return {};
}

}  // namespace sonmere
