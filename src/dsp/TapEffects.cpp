#include "dsp/TapEffects.h"

#include "dsp/Limiter.h"

namespace sonmere {

EqualiserLane& TapEffects::beginEqualiser() noexcept SONMERE_NONBLOCKING {
  if (const std::int64_t changes = eqCoefficients.changes(); changes != coefficientChanges_) {
    setCoefficients(eqLane_, eqCoefficients);
    coefficientChanges_ = changes;
  }
  if (const std::int64_t changes = eqDelays.changes(); changes != delayChanges_) {
    loadDelays(eqLane_, eqDelays);
    delayChanges_ = changes;
  }
  return eqLane_;
}

void TapEffects::endEqualiser() noexcept SONMERE_NONBLOCKING { saveDelays(eqLane_, eqDelays); }

void TapEffects::apply(const AppEQSettings& settings) {
  eqCoefficients.copy(coefficients48k(settings));
  eqEnabled = settings.isEnabled;
}

void TapEffects::apply(const AppLimiterSettings& settings) {
  limiterEnabled = settings.isEnabled;
  limiterCeiling = sonmere::limiterCeiling(settings.ceilingDb);
}

}  // namespace sonmere
