#pragma once

#include <functional>

#include "audio/engine/EngineContext.h"
#include "base/RTScalar.h"
#include "base/TaskToken.h"
#include "input/MicRenderState.h"

namespace sonmere {

// Listens on the bridge for a while after each start: a bridge that stays flat while the microphone hears
// something is a wedged route, and is healed, twice at most. Main thread.
class MicRouteCheck {
 public:
  MicRouteCheck(EngineContext& context, std::shared_ptr<MicRenderState> state);
  ~MicRouteCheck();

  // Told when the route is to be stopped and started.
  std::function<void()> heal;

  // Listens to the bridge from now on, and looks after 1.6 s.
  void begin(AudioDeviceID bridge);
  void end();
  int healAttempts() const { return healAttempts_; }

 private:
  void listen(AudioDeviceID bridge);
  void unlisten();
  void look();
  void giveUpOrHeal();

  // What the bridge's listener writes.
  struct Heard {
    RTScalar<bool> anything{false};
  };
  static OSStatus hear(void* heard, const AudioTimeStamp&, AudioBufferList input,
                       AudioBufferList) noexcept SONMERE_NONBLOCKING;

  EngineContext& context_;
  const std::shared_ptr<MicRenderState> state_;
  Heard heard_;
  AudioDeviceID bridge_ = kAudioObjectUnknown;
  IOProcID procedure_ = 0;
  ScopedTask verify_;
  int healAttempts_ = 0;
};

}  // namespace sonmere
