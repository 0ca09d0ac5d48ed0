#pragma once

#include <memory>

#include "audio/effects/PluginChainSnapshot.h"
#include "base/Published.h"
#include "base/RTScalar.h"
#include "base/RenderClaim.h"
#include "dsp/Equaliser.h"
#include "dsp/MonitorSource.h"
#include "dsp/RTDoubles.h"
#include "dsp/RecorderRing.h"
#include "dsp/SpectrumRing.h"

namespace sonmere {

// The master side of one bus, built at engine start and there for the engine's life, whether or not a unit
// runs.
struct BusMaster {
  // Main thread writes, the bus's render reads.
  Published<const EQCoefficients> eqCoefficients;
  RTScalar<bool> eqEnabled{false};
  RTScalar<bool> limiterEnabled{false};
  RTScalar<float> limiterCeiling{1.0f};
  Published<const PluginChainSnapshot> pluginChain;
  Published<RecorderRing> recorder;

  // The bus's render, under the claim.
  RenderClaim claim;
  RTDoubles eqDelays{kEQDelayCount};
  RTScalar<float> limiterGain{1.0f};  // also reset by the main thread
  SpectrumRing spectrum;
  MonitorSource monitor;  // its ring's second reader is the master recorder
};

}  // namespace sonmere
