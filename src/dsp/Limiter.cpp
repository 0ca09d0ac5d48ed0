#include "dsp/Limiter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "dsp/VectorMath.h"

namespace sonmere {

static_assert(std::bit_cast<std::uint32_t>(kLimiterRates48k.attack) == 0x3f7eef80);
static_assert(std::bit_cast<std::uint32_t>(kLimiterRates48k.release) == 0x3f7fe4b3);

namespace {

// A comparison that is false for a NaN leaves it to the lower bound.
float clampSample(float v, float ceiling) {
  v = v > ceiling ? ceiling : v;
  return v > -ceiling ? v : -ceiling;
}

float limitTo(float peak, float* buffer, std::size_t frames, float ceiling, float gain,
              const LimiterRates& rates) noexcept {
  const float target = gain * peak > ceiling ? ceiling / std::max(peak, 1e-9f) : 1.0f;
  std::size_t i = 0;
  for (bool moves = true; i < frames && moves; ++i) {
    const float rate = gain > target ? rates.attack : rates.release;
    const float next = (gain - target) * rate + target;
    moves = next != gain;
    gain = next;
    buffer[2 * i] = clampSample(buffer[2 * i] * gain, ceiling);
    buffer[2 * i + 1] = clampSample(buffer[2 * i + 1] * gain, ceiling);
  }
  // A step that leaves the gain unchanged would do so to the end of the block.
  for (std::size_t at = 2 * i; at < 2 * frames; ++at) buffer[at] = clampSample(buffer[at] * gain, ceiling);
  return gain;
}

}  // namespace

LimiterRates limiterRates(double sampleRate) {
  return {std::exp(float(-1 / (0.005 * sampleRate))), std::exp(float(-1 / (0.05 * sampleRate)))};
}

float limiterCeiling(double ceilingDb) { return float(std::pow(10.0, ceilingDb / 20)); }

float limit(float* buffer, std::size_t samples, std::size_t frames, float ceiling, float gain,
            const LimiterRates& rates) noexcept SONMERE_NONBLOCKING {
  if (samples < 2) return gain;
  return limitTo(maxMagnitude(buffer, samples), buffer, frames, ceiling, gain, rates);
}

float limitUnlessSilent(float* buffer, std::size_t samples, std::size_t frames, float ceiling, float gain,
                        float quietThreshold, const LimiterRates& rates) noexcept SONMERE_NONBLOCKING {
  if (samples < 2) return gain;
  const float peak = maxMagnitude(buffer, samples);
  if (peak != 0) return limitTo(peak, buffer, frames, ceiling, gain, rates);
  if (std::abs(gain - 1.0f) > quietThreshold)
    return (gain - 1.0f) * std::pow(rates.release, float(frames)) + 1.0f;
  return gain;
}

}  // namespace sonmere
