#pragma once

#include "base/RTScalar.h"
#include "dsp/Equaliser.h"
#include "dsp/LimiterSettings.h"
#include "dsp/RTDoubles.h"

namespace sonmere {

// Volume, equaliser and limiter of one tapped app, the same on every path that renders one.
struct TapEffects {
  // Main thread writes, the render reads.
  RTScalar<float> volume{1.0f};  // linear
  RTScalar<bool> eqEnabled{false};
  RTDoubles eqCoefficients{kEQCoefficientCount};
  RTScalar<bool> limiterEnabled{false};
  RTScalar<float> limiterCeiling{1.0f};  // linear

  // The render of the tap. It keeps a lane, and reads what others have changed.
  EqualiserLane& beginEqualiser() noexcept SONMERE_NONBLOCKING;
  void endEqualiser() noexcept SONMERE_NONBLOCKING;
  RTDoubles eqDelays{kEQDelayCount};
  RTScalar<float> limiterGain{1.0f};  // also reset by the main thread

  // New settings into the running render: the flags last, delays and gain stay. Main thread.
  void apply(const AppEQSettings& settings);
  void apply(const AppLimiterSettings& settings);

 private:
  EqualiserLane eqLane_;
  std::int64_t coefficientChanges_ = -1, delayChanges_ = -1;  // those that it has
};

}  // namespace sonmere
