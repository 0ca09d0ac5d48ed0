#include "dsp/TapEffects.h"

#include "dsp/Limiter.h"

namespace sonmere {

void TapEffects::apply(const AppEQSettings& settings) {
  eqCoefficients.copy(coefficients48k(settings));
  eqEnabled = settings.isEnabled;
}

void TapEffects::apply(const AppLimiterSettings& settings) {
  limiterEnabled = settings.isEnabled;
  limiterCeiling = sonmere::limiterCeiling(settings.ceilingDb);
}

}  // namespace sonmere
