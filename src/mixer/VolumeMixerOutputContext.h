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
  using Kept = std::vector<std::shared_ptr<const void>>;
  VolumeMixerOutputContext(const RenderFlags& renderFlags, const HostClock& hostClock, double rate,
                           std::shared_ptr<Kept> kept)
      : flags(renderFlags), clock(hostClock), sampleRate(rate), keptForStalledUnits(std::move(kept)) {}

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

  // What a unit that would not stop may still hold. Main thread, at the engine's end.
  std::shared_ptr<Kept> keptForStalledUnits;
};

}  // namespace sonmere
