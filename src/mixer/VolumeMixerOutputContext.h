#pragma once

#include <array>
#include <memory>
#include <vector>

#include "audio/device/HostClock.h"
#include "audio/device/OutputUnit.h"
#include "base/Published.h"
#include "dsp/CycleWatch.h"
#include "dsp/RenderSteps.h"
#include "mixer/VolumeMixerTap.h"

namespace sonmere {

// The taps that the output plays, in the order of their bundle identifiers; replaced as a whole.
struct VolumeMixerSnapshot {
  std::vector<std::shared_ptr<VolumeMixerTap>> taps;
};

// What one output unit's callback works on. Lives until the unit is disposed of.
struct VolumeMixerOutputContext {
  VolumeMixerOutputContext(const RenderFlags& renderFlags, const HostClock& hostClock, double rate)
      : flags(renderFlags), clock(hostClock), sampleRate(rate) {}

  const RenderFlags& flags;
  const HostClock& clock;
  const double sampleRate;  // Hz

  // Main thread writes, the render reads.
  Published<const VolumeMixerSnapshot> tapsSnapshot;
  RTScalar<float> masterVolume{1.0f};  // linear
  RTScalar<bool> outputEQEnabled{false};
  RTDoubles outputEQCoefficients{kEQCoefficientCount};
  RTScalar<bool> retired{false};  // its unit waits for disposal: no sound, no reading

  // The render.
  RenderScratch scratch;
  RTScalar<std::uint64_t> lastRenderHostTime{0};  // ns; the render watchdog reads it
  CycleWatch cycles;
  bool isInterrupted = false;  // this cycle does not follow the one before
  RTScalar<float> masterLimiterGain{1.0f};
  RTDoubles outputEQDelays{kEQDelayCount};
  SpectrumRing outputFFTBuffer;
  std::shared_ptr<RenderReader> reader = std::make_shared<RenderReader>();
};

}  // namespace sonmere
