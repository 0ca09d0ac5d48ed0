#pragma once

#include <functional>

#include "audio/engine/EngineContext.h"
#include "audio/engine/InputEar.h"
#include "base/TaskToken.h"
#include "input/MicRenderState.h"

namespace sonmere {

// Listens on the bridge for a while after each start: a bridge that stays flat while the microphone hears
// something is a wedged route, and is healed, twice at most. Main thread.
class MicRouteCheck {
 public:
  MicRouteCheck(EngineContext& context, std::shared_ptr<MicRenderState> state);

  // Told when the route is to be stopped and started.
  std::function<void()> heal;

  // Listens to the bridge from now on, and looks after 1.6 s.
  void begin(AudioDeviceID bridge);
  void end();
  int healAttempts() const { return healAttempts_; }

 private:
  void look();
  void giveUpOrHeal();

  EngineContext& context_;
  const std::shared_ptr<MicRenderState> state_;
  InputEar ear_;
  ScopedTask verify_;
  int healAttempts_ = 0;
};

}  // namespace sonmere
