#include "dsp/Limiter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "dsp/VectorMath.h"

namespace sonmere {

static_assert(std::bit_cast<std::uint32_t>(kLimiterRates48k.attack) == 0x3f7eef80);
static_assert(std::bit_cast<std::uint32_t>(kLimiterRates48k.release) == 0x3f7fe4b3);

LimiterLane limiterLane(float peak, float ceiling, float gain,
                        const LimiterRates& rates) noexcept SONMERE_NONBLOCKING {
  const float target = gain * peak > ceiling ? ceiling / std::max(peak, 1e-9f) : 1.0f;
  return {target, gain > target ? rates.attack : rates.release, ceiling, gain};
}

bool isLimiterAtRest(float peak, float ceiling, float gain) noexcept SONMERE_NONBLOCKING {
  return gain == 1.0f && peak <= ceiling && ceiling > 0;
}

namespace {

float limitTo(float peak, std::span<float> stereo, float ceiling, float gain,
              const LimiterRates& rates) noexcept {
  if (isLimiterAtRest(peak, ceiling, gain)) return gain;
  LimiterLane lane = limiterLane(peak, ceiling, gain, rates);
  kernels().limit(lane, stereo.data(), stereo.size() / 2);
  return lane.gain;
}

}  // namespace

LimiterRates limiterRates(double sampleRate) {
  return {std::exp(float(-1 / (0.005 * sampleRate))), std::exp(float(-1 / (0.05 * sampleRate)))};
}

float limiterCeiling(double ceilingDb) { return float(std::pow(10.0, ceilingDb / 20)); }

float limit(std::span<float> stereo, float ceiling, float gain,
            const LimiterRates& rates) noexcept SONMERE_NONBLOCKING {
  if (stereo.size() < 2) return gain;
  return limitTo(maxMagnitude(stereo.data(), stereo.size()), stereo, ceiling, gain, rates);
}

float limitUnlessSilent(std::span<float> stereo, float ceiling, float gain, float quietThreshold,
                        const LimiterRates& rates) noexcept SONMERE_NONBLOCKING {
  if (stereo.size() < 2) return gain;
  const float peak = maxMagnitude(stereo.data(), stereo.size());
  if (peak != 0) return limitTo(peak, stereo, ceiling, gain, rates);
  if (std::abs(gain - 1.0f) > quietThreshold)
    return (gain - 1.0f) * std::pow(rates.release, float(stereo.size() / 2)) + 1.0f;
  return gain;
}

}  // namespace sonmere
