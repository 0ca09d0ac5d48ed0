#include "editor/track/TrimEdit.h"

#include <algorithm>
#include <cmath>

namespace sonmere::TrimEdit {

namespace {

constexpr float kNormalizedPeak = 0.94406f;  // -0.5 dBFS

TrimRange withFadesHeld(TrimRange range) {
  range.fadeInFrames = std::clamp<std::int64_t>(range.fadeInFrames, 0, range.length());
  range.fadeOutFrames = std::clamp<std::int64_t>(range.fadeOutFrames, 0, range.length());
  return range;
}

}  // namespace

TrimRange withStart(TrimRange range, std::int64_t frame) {
  range.startFrame = std::clamp<std::int64_t>(frame, 0, range.endFrame - 1);
  return withFadesHeld(range);
}

TrimRange withEnd(TrimRange range, std::int64_t frame) {
  range.endFrame = std::clamp(frame, range.startFrame + 1, range.totalFrames);
  return withFadesHeld(range);
}

TrimRange withFadeIn(TrimRange range, std::int64_t frames) {
  range.fadeInFrames = frames;
  return withFadesHeld(range);
}

TrimRange withFadeOut(TrimRange range, std::int64_t frames) {
  range.fadeOutFrames = frames;
  return withFadesHeld(range);
}

TrimRange withGain(TrimRange range, double gain) {
  if (!std::isnan(gain)) range.gainLinear = float(std::clamp(gain, 0.0, double(kMaximumGain)));
  return range;
}

TrimRange held(TrimRange range, std::int64_t totalFrames, double sampleRate) {
  TrimRange whole = TrimRange::whole(totalFrames, sampleRate);
  if (totalFrames <= 0) return whole;
  whole.startFrame = std::clamp<std::int64_t>(range.startFrame, 0, totalFrames - 1);
  whole.endFrame = std::clamp(range.endFrame, whole.startFrame + 1, totalFrames);
  whole.fadeInFrames = range.fadeInFrames;
  whole.fadeOutFrames = range.fadeOutFrames;
  return withFadesHeld(withGain(whole, double(range.gainLinear)));
}

double gainOfDecibels(double decibels) { return std::min(std::pow(10, decibels / 20), double(kMaximumGain)); }

float normalizingGain(float peak, float otherwise) {
  return peak > 0 && std::isfinite(peak) ? std::min(kNormalizedPeak / peak, kMaximumGain) : otherwise;
}

float normalizingGain(const TrimRange& range, const WaveformEnvelope& envelope) {
  float peak = 0;
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    const WaveformBin bin = extremes(envelope, channel, range.startFrame, range.endFrame);
    peak = std::max({peak, std::fabs(bin.minValue), std::fabs(bin.maxValue)});
  }
  return normalizingGain(peak, range.gainLinear);
}

}  // namespace sonmere::TrimEdit
