#pragma once

#include <array>
#include <memory>
#include <vector>

#include "audio/engine/RenderContext.h"
#include "base/Published.h"
#include "dsp/RenderSteps.h"
#include "mixer/VolumeMixerTap.h"

namespace sonmere {

// The taps that the output plays, in the order of their bundle identifiers; replaced as a whole.
struct VolumeMixerSnapshot {
  std::vector<std::shared_ptr<VolumeMixerTap>> taps;
};

// What one output unit's callback works on. Lives until the unit is disposed of.
struct VolumeMixerOutputContext : RenderContext {
  VolumeMixerOutputContext(const RenderFlags& renderFlags, double rate)
      : RenderContext(rate), flags(renderFlags) {}

  const RenderFlags& flags;

  // Main thread writes, the render reads.
  Published<const VolumeMixerSnapshot> tapsSnapshot;
  RTScalar<float> masterVolume{1.0f};  // linear
  RTScalar<bool> outputEQEnabled{false};
  RTDoubles outputEQCoefficients{kEQCoefficientCount};

  // The render.
  RenderScratch scratch;
  RTScalar<float> masterLimiterGain{1.0f};
  RTDoubles outputEQDelays{kEQDelayCount};
  SpectrumRing outputFFTBuffer;
};

}  // namespace sonmere
