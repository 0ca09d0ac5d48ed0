#pragma once

#include <memory>

#include "audio/effects/PluginChainSnapshot.h"
#include "base/Published.h"
#include "base/RTScalar.h"
#include "base/RenderClaim.h"
#include "dsp/Equaliser.h"
#include "dsp/RTDoubles.h"
#include "dsp/RecorderRing.h"
#include "dsp/RingProbe.h"
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
  RTPointer<float> monitorBuffer;  // 48,000 samples
  RTScalar<bool> monitorEnabled{false};

  // The bus's render, under the claim.
  RenderClaim claim;
  RTDoubles eqDelays{kEQDelayCount};
  RTScalar<float> limiterGain{1.0f};  // also reset by the main thread
  RTPosition monitorWritePos;
  SpectrumRing spectrum;

  // Other readers of the monitor ring: the monitor's render, the master recorder.
  RTPosition monitorReadPos;
  RTPosition masterRecordReadPos;
  RingProbe monitorProbe;

  // Makes the monitor ring, once. Main thread.
  void allocateMonitorBuffer() {
    if (monitorRing_) return;
    monitorRing_.reset(new float[std::size_t(kTapRingSamples)]());
    monitorBuffer.store(monitorRing_.get());
  }

 private:
  std::unique_ptr<float[]> monitorRing_;
};

}  // namespace sonmere
