#pragma once

#include <memory>

#include "audio/device/AudioTypes.h"
#include "base/RTScalar.h"
#include "base/RealtimeScope.h"
#include "base/RenderReader.h"
#include "dsp/CycleWatch.h"

namespace sonmere {

// What the callback of one output unit works on, whatever it plays. Lives until the unit is gone.
struct RenderContext {
  explicit RenderContext(double rate) : sampleRate(rate) {}

  // What a callback is handed. Render thread.
  template <class Context>
  static Context& of(void* refcon) noexcept SONMERE_NONBLOCKING {
    return static_cast<Context&>(*static_cast<RenderContext*>(refcon));
  }
  // At the top of each callback, inside the reader's block. Render thread.
  void beginCycle(const AudioTimeStamp& time, std::uint32_t frames) noexcept SONMERE_NONBLOCKING {
    if (!retired) lastRenderHostTime = time.hostTime;
    isInterrupted = cycles.isInterrupted(time.hostTime, frames, sampleRate);
  }

  const double sampleRate;  // of what the callback makes, Hz
  // Main thread writes, the render reads.
  RTScalar<bool> retired{false};  // its unit waits for disposal: no sound, no reading
  // The render.
  RTScalar<std::uint64_t> lastRenderHostTime{0};  // ns; 0: not rendered yet
  CycleWatch cycles;
  bool isInterrupted = false;  // this cycle does not follow the one before
  const std::shared_ptr<RenderReader> reader = std::make_shared<RenderReader>();
};

}  // namespace sonmere
