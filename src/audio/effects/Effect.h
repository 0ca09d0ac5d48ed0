#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "base/Error.h"
#include "base/RealtimeScope.h"
#include "base/Status.h"

namespace sonmere {

// Values of an effect's controls, by symbol.
using EffectValues = std::map<std::string, float>;

// An instantiated effect, prepared for stereo float32 planes at one rate and at most 4096 frames. Main
// thread, unless a line says otherwise.
class Effect {
 public:
  virtual ~Effect() = default;
  // Reads two input planes, writes two output planes, which are others. Render thread. `sampleTime` counts
  // frames.
  virtual OSStatus render(double sampleTime, std::uint32_t frames, const float* const input[2],
                          float* const output[2]) noexcept SONMERE_NONBLOCKING = 0;
  // Seconds, as of the last block. Threads: any.
  virtual double latency() const noexcept = 0;
  // The effect's whole state, as it is given back to EffectsHost; empty for one without.
  virtual Outcome<std::string> fullState() const = 0;
  virtual EffectValues values() const { return {}; }
  // Takes effect with the next block, held to the control's range. False when there is no such control.
  virtual bool setControl(const std::string& /*symbol*/, float /*value*/) { return false; }
};

}  // namespace sonmere
