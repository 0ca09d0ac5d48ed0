#include "editor/track/FadeGain.h"

#include <algorithm>
#include <array>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

constexpr std::int64_t kBlockFrames = 512;

// Gain at `p` frames after the range's start; the order of the operations is part of the result.
float gainAt(const TrimRange& range, std::int64_t p) {
  float gain = 1;
  if (range.fadeInFrames > 0 && p < range.fadeInFrames) gain = float(p) * (1.0f / float(range.fadeInFrames));
  const std::int64_t fadeOutStart = range.length() - range.fadeOutFrames;
  if (range.fadeOutFrames > 0 && p >= fadeOutStart)
    gain = gain * float(range.fadeOutFrames - (p - fadeOutStart)) * (1.0f / float(range.fadeOutFrames));
  return gain * range.gainLinear;
}

bool isInFade(const TrimRange& range, std::int64_t p) {
  return (range.fadeInFrames > 0 && p < range.fadeInFrames) ||
         (range.fadeOutFrames > 0 && p >= range.length() - range.fadeOutFrames);
}

void applyCurve(const TrimRange& range, std::int64_t p, PCMBuffer& buffer, std::int64_t from,
                std::int64_t count) {
  std::array<float, kBlockFrames> gains;
  for (std::int64_t i = 0; i < count; ++i) gains[std::size_t(i)] = gainAt(range, p + i);
  for (std::uint32_t channel = 0; channel < buffer.format().channels; ++channel) {
    float* samples = buffer.channel(channel) + from;
    for (std::int64_t i = 0; i < count; ++i) samples[i] *= gains[std::size_t(i)];
  }
}

void applyGain(float gain, PCMBuffer& buffer, std::int64_t from, std::int64_t count) {
  if (gain == 1) return;
  for (std::uint32_t channel = 0; channel < buffer.format().channels; ++channel)
    scale(buffer.channel(channel) + from, gain, std::size_t(count));
}

}  // namespace

std::optional<float> steadyGain(const TrimRange& range, std::int64_t offset, std::int64_t frames) {
  if (isInFade(range, offset) || isInFade(range, offset + frames - 1)) return std::nullopt;
  return range.gainLinear;
}

void applyFadesAndGain(const TrimRange& range, std::int64_t offset, PCMBuffer& buffer) {
  if (range.fadeInFrames <= 0 && range.fadeOutFrames <= 0 && range.gainLinear == 1) return;
  const std::int64_t end = offset + buffer.frameLength();
  const std::int64_t fadeOutStart = range.length() - std::max<std::int64_t>(range.fadeOutFrames, 0);
  for (std::int64_t p = offset; p < end;) {
    const bool fades = isInFade(range, p);
    std::int64_t next = fades ? std::min(end, p + kBlockFrames) : end;
    if (!fades && range.fadeOutFrames > 0) next = std::min(next, fadeOutStart);
    fades ? applyCurve(range, p, buffer, p - offset, next - p)
          : applyGain(range.gainLinear, buffer, p - offset, next - p);
    p = next;
  }
}

}  // namespace sonmere
