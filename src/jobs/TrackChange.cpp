#include "jobs/TrackChange.h"

#include <fmt/format.h>

#include <cmath>

#include "base/LengthText.h"
#include "editor/export/LoudnessGain.h"
#include "editor/export/TrackLevel.h"
#include "editor/track/TrimEdit.h"

namespace sonmere {

namespace {

double decibels(double linear) { return 20 * std::log10(linear); }

Outcome<void> trim(const TimeRange& part, TrimRange& range, ExportProgress& progress) {
  const auto trimmed = trimTo(range, part);
  if (!trimmed) return std::unexpected(trimmed.error());
  const double end = double(range.totalFrames) / range.sampleRate;
  if (part.until && *part.until > end)
    progress.note(fmt::format("trim: held to the file's end at {}", lengthText(end, 3)));
  range = *trimmed;
  return {};
}

std::int64_t fadeFrames(const char* name, double seconds, const TrimRange& range, ExportProgress& progress) {
  const std::int64_t frames = std::llround(seconds * range.sampleRate);
  if (frames <= range.length()) return frames;
  progress.note(fmt::format("{}: held to {}, the length of what is kept", name,
                            lengthText(double(range.length()) / range.sampleRate, 3)));
  return range.length();
}

}  // namespace

float gainOfDecibels(double wanted, ExportProgress& progress) {
  const double most = decibels(TrimEdit::kMaximumGain);
  if (wanted > most) progress.note(fmt::format("gain: held to {:.1f} dB, the most there is", most));
  return float(TrimEdit::gainOfDecibels(wanted));
}

float gainForLoudness(const Loudness& loudness, double targetLUFS, ExportProgress& progress) {
  const auto note = [&](const std::string& text) { progress.note("normalise: " + text); };
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

Outcome<void> applyChange(const TrackChange& change, TrimRange& range, ExportProgress& progress) {
  if (change.trim)
    if (auto trimmed = trim(*change.trim, range, progress); !trimmed) return trimmed;
  range = TrimEdit::held(range, range.totalFrames, range.sampleRate);
  if (change.fadeIn) range.fadeInFrames = fadeFrames("fade-in", *change.fadeIn, range, progress);
  if (change.fadeOut) range.fadeOutFrames = fadeFrames("fade-out", *change.fadeOut, range, progress);
  if (change.gainDb) range.gainLinear = gainOfDecibels(*change.gainDb, progress);
  return {};
}

Outcome<void> normaliseTrack(const Normalising& normalising, MixTrackInput& track, ExportProgress& progress) {
  if (normalising.targetLUFS) {
    const auto loudness = measureTrackLoudness(track, progress);
    if (!loudness) return std::unexpected(loudness.error());
    const float gain = gainForLoudness(*loudness, *normalising.targetLUFS, progress);
    if (std::isfinite(loudness->integratedLUFS)) track.range.gainLinear = gain;
    return {};
  }
  const auto peak = measureTrackPeak(track, progress);
  if (!peak) return std::unexpected(peak.error());
  if (*peak == 0) progress.note("normalise: this is silent; the gain stays as it is");
  track.range.gainLinear = TrimEdit::normalizingGain(*peak, track.range.gainLinear);
  return {};
}

}  // namespace sonmere
