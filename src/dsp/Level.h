#pragma once

#include <algorithm>
#include <cmath>

#include "base/RealtimeScope.h"

namespace sonmere {

// A meter value from 0 to 1 on a scale of 60 dB; 0 for what is no number. Render-safe.
inline float meterLevel(float rms) noexcept SONMERE_NONBLOCKING {
  return std::clamp((20.0f * std::log10(std::max(1e-7f, rms)) + 60.0f) / 60.0f, 0.0f, 1.0f);
}

// The level in dB full scale that a meter value stands for.
inline float meterLevelDb(float level) { return level * 60.0f - 60.0f; }

// What a limiter of this gain takes away, in dB from 0 up.
inline float gainReductionDb(float limiterGain) {
  return limiterGain > 0 && limiterGain < 1 ? -20.0f * std::log10(limiterGain) : 0.0f;
}

}  // namespace sonmere
