#pragma once

#include <cstdint>
#include <memory>

#include "audio/device/EffectsHost.h"
#include "base/RTScalar.h"

namespace sonmere {

// One effect in a chain. `bypassed` and `autoBypassReported` are the main thread's; the render writes the
// counters and `autoBypassed`.
struct HostedPlugin {
  // Render failures in a row after which an effect bypasses itself.
  static constexpr int kErrorLimit = 100;

  AvailableEffect effect;
  std::shared_ptr<Effect> instance;
  RTScalar<bool> bypassed{false};
  RTScalar<bool> autoBypassed{false};
  bool autoBypassReported = false;
  RTScalar<int> consecutiveRenderErrors{0};
  int latencyFrames = 0;  // shown only; no path compensates it
  double sampleRate = 0;
  RTScalar<double> sampleTime{0.0};

  HostedPlugin(AvailableEffect what, std::shared_ptr<Effect> made, double rate)
      : effect(std::move(what)),
        instance(std::move(made)),
        latencyFrames(int(instance->latency() * rate)),
        sampleRate(rate) {}
};

}  // namespace sonmere
