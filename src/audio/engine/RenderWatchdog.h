#pragma once

#include <functional>
#include <memory>

#include "audio/device/HostClock.h"
#include "audio/engine/RenderContext.h"
#include "base/Runtime.h"

namespace sonmere {

// Finds a unit that no longer renders. Restarts that don't help come at growing distances. Main thread.
class RenderWatchdog {
 public:
  RenderWatchdog(Runtime& runtime, const HostClock& clock) : runtime_(runtime), clock_(clock) {}

  // Told of a unit that has been still for `seconds`, and the how many-eth restart in a row this asks for.
  std::function<void(double seconds, int restart)> stalled;

  // Of a unit that has just been started. The restarts of the one before it count on.
  void watch(std::shared_ptr<RenderContext> context);
  void pause();

 private:
  void look();

  Runtime& runtime_;
  const HostClock& clock_;
  std::shared_ptr<RenderContext> context_;
  std::uint64_t watchedRenderTime_ = 0;  // lastRenderHostTime at the latest look
  int consecutiveRestarts_ = 0;
  std::uint64_t nextRestartAt_ = 0;  // host time, ns
  ScopedTask looking_;
};

}  // namespace sonmere
