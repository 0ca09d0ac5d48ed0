// The loops as they read: what the vector kernels are held to, and what runs where there are none.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "dsp/kernels/KernelTargets.h"

namespace sonmere {

namespace {

// One channel through one section.
struct Section {
  float b0, b1, b2, a1, a2, z1, z2;

  float step(float x) {
    const float y = b0 * x + z1;
    z1 = (b1 * x - a1 * y) + z2;
    z2 = b2 * x - a2 * y;
    return y;
  }
};

void equalise(EqualiserLane& lane, float* block, std::size_t frames) noexcept {
  for (std::size_t section = 0; section < 3; ++section) {
    const auto c = lane.frames + EqualiserLane::coefficient(5 * section);
    const auto z = lane.frames + EqualiserLane::delay(section, 0);
    Section left{c[0][0], c[1][0], c[2][0], c[3][0], c[4][0], z[0][0], z[1][0]};
    Section right{c[0][1], c[1][1], c[2][1], c[3][1], c[4][1], z[0][1], z[1][1]};
    for (std::size_t i = 0; i < frames; ++i) {
      block[2 * i] = left.step(block[2 * i]);
      block[2 * i + 1] = right.step(block[2 * i + 1]);
    }
    z[0][0] = left.z1;
    z[1][0] = left.z2;
    z[0][1] = right.z1;
    z[1][1] = right.z2;
  }
}

// A comparison that is false for a NaN leaves it to the lower bound.
float clampSample(float v, float ceiling) {
  v = v > ceiling ? ceiling : v;
  return v > -ceiling ? v : -ceiling;
}

void limit(LimiterLane& lane, float* block, std::size_t frames) noexcept {
  const float target = lane.target, rate = lane.rate, ceiling = lane.ceiling;
  float gain = lane.gain;
  for (std::size_t i = 0; i < frames; ++i) {
    gain = (gain - target) * rate + target;
    block[2 * i] = clampSample(block[2 * i] * gain, ceiling);
    block[2 * i + 1] = clampSample(block[2 * i + 1] * gain, ceiling);
  }
  lane.gain = gain;
}

void scale(float* block, float gain, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) block[i] *= gain;
}

void addTo(float* target, const float* source, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) target[i] += source[i];
}

void addScaled(float* target, const float* source, float gain, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) target[i] += source[i] * gain;
}

// Once not a number, it stays so.
float maxMagnitude(const float* block, std::size_t n) noexcept {
  float result = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const float magnitude = std::fabs(block[i]);
    if (!(magnitude <= result) && !std::isnan(result)) result = magnitude;
  }
  return result;
}

// The blocks themselves are what lies side by side.
void equaliseSideBySide(const SideJob& job, std::size_t frames) noexcept {
  for (std::size_t s = 0; s < job.count; ++s) {
    equalise(*job.lanes[s], job.blocks[s], frames);
    scale(job.blocks[s], job.boosts[s], 2 * frames);
    job.peaks[s] = maxMagnitude(job.blocks[s], 2 * frames);
  }
}

void limitAndMix(const MixJob& job, std::size_t frames) noexcept {
  for (std::size_t s = 0; job.sideLimiters && s < job.sideCount; ++s)
    limit(job.sideLimiters[s], job.sideBlocks[s], frames);
  for (std::size_t s = 0; s < job.limitedCount; ++s) limit(job.limiters[s], job.limited[s], frames);
  for (std::size_t s = 0; s < job.sourceCount; ++s)
    addScaled(job.sum, job.sources[s], job.gains[s], 2 * frames);
  if (job.equaliser) equalise(*job.equaliser, job.sum, frames);
}

float sumOfSquares(const float* block, std::size_t n) noexcept {
  float sum[8] = {};
  for (std::size_t i = 0; i < n; ++i) sum[i % 8] += block[i] * block[i];
  return ((sum[0] + sum[1]) + (sum[2] + sum[3])) + ((sum[4] + sum[5]) + (sum[6] + sum[7]));
}

void deinterleave(const float* block, float* left, float* right, std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    left[i] = block[2 * i];
    right[i] = block[2 * i + 1];
  }
}

void interleave(const float* left, const float* right, float* block, std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    block[2 * i] = left[i];
    block[2 * i + 1] = right[i];
  }
}

constexpr float kInt16Scale = 32768;

float fromInt16(const std::uint8_t* bytes) {
  std::int16_t value;
  std::memcpy(&value, bytes, sizeof value);
  return float(value) / kInt16Scale;
}

std::int16_t toInt16(float sample) {
  if (std::isnan(sample)) return 0;
  return std::int16_t(std::lrint(std::clamp(sample * kInt16Scale, -kInt16Scale, kInt16Scale - 1)));
}

void stereoFromInt16(const std::uint8_t* block, float* left, float* right, std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    left[i] = fromInt16(block + 4 * i);
    right[i] = fromInt16(block + 4 * i + 2);
  }
}

void addStereoFromInt16(const std::uint8_t* block, float gain, float* left, float* right,
                        std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    left[i] += fromInt16(block + 4 * i) * gain;
    right[i] += fromInt16(block + 4 * i + 2) * gain;
  }
}

void int16FromStereo(const float* left, const float* right, std::uint8_t* block,
                     std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    const std::int16_t frame[2] = {toInt16(left[i]), toInt16(right[i])};
    std::memcpy(block + 4 * i, frame, sizeof frame);
  }
}

}  // namespace

const Kernels kPlainKernels = {
    .target = "plain",
    .equalise = equalise,
    .equaliseSideBySide = equaliseSideBySide,
    .limit = limit,
    .limitAndMix = limitAndMix,
    .scale = scale,
    .addTo = addTo,
    .maxMagnitude = maxMagnitude,
    .sumOfSquares = sumOfSquares,
    .deinterleave = deinterleave,
    .interleave = interleave,
    .stereoFromInt16 = stereoFromInt16,
    .addStereoFromInt16 = addStereoFromInt16,
    .int16FromStereo = int16FromStereo,
};

}  // namespace sonmere
