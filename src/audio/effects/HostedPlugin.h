#pragma once

#include <cstdint>
#include <memory>

#include "audio/effects/AvailableEffect.h"
#include "audio/effects/Effect.h"
#include "base/RTScalar.h"

namespace sonmere {

// One effect in a chain. `bypassed` and `autoBypassReported` are the main thread's; the render writes the
// counters and `autoBypassed`.
struct HostedPlugin {
  // Render failures in a row after which an effect bypasses itself.
  static constexpr int kErrorLimit = 100;

  AvailableEffect effect;
  std::shared_ptr<Effect> instance;
  int key = 0;  // of the plan it was made for
  RTScalar<bool> bypassed{false};
  RTScalar<bool> autoBypassed{false};
  bool autoBypassReported = false;
  RTScalar<int> consecutiveRenderErrors{0};
  double sampleRate = 0;
  RTScalar<double> sampleTime{0.0};

  HostedPlugin(AvailableEffect what, std::shared_ptr<Effect> made, double rate)
      : effect(std::move(what)), instance(std::move(made)), sampleRate(rate) {}

  // Shown only; no path compensates it. Threads: any.
  int latencyFrames() const noexcept { return int(instance->latency() * sampleRate); }
};

}  // namespace sonmere
