#include "dsp/RenderSteps.h"

#include "dsp/VectorMath.h"

namespace sonmere::RenderSteps {

void equalise(TapEffects& effects, float* buffer, std::int64_t n) noexcept SONMERE_NONBLOCKING {
  equalise(effects.eqEnabled, effects.eqCoefficients, effects.eqDelays, buffer, n);
}

void boost(float volume, float* buffer, std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (volume > 1.0f) scale(buffer, volume, std::size_t(n));
}

void limitTap(TapEffects& effects, float volume, float ceiling, float* buffer,
              std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (volume <= 1.0f && !effects.limiterEnabled) return;
  effects.limiterGain =
      limit(buffer, std::size_t(n), std::size_t(n / 2), ceiling, effects.limiterGain, kLimiterRates48k);
}

float limitOutput(float* buffer, std::int64_t n, float ceiling, float gain,
                  float quietThreshold) noexcept SONMERE_NONBLOCKING {
  return limitUnlessSilent(buffer, std::size_t(n), std::size_t(n / 2), ceiling, gain, quietThreshold,
                           kLimiterRates48k);
}

}  // namespace sonmere::RenderSteps
