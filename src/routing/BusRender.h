#pragma once

#include <array>
#include <memory>

#include "audio/device/OutputUnit.h"
#include "audio/engine/RenderContext.h"
#include "dsp/RenderSteps.h"
#include "routing/BusRenderState.h"

namespace sonmere {

// What one running unit's callback works on. Lives until the unit is disposed of.
struct OutputAUContext : RenderContext {
  OutputAUContext(std::shared_ptr<BusRenderState> renderState, int bus, double rate)
      : RenderContext(rate), state(std::move(renderState)), busIndex(bus) {}

  const std::shared_ptr<BusRenderState> state;
  const int busIndex;
  RenderScratch scratch;  // the render
};

// The render callback of a bus: pulls every tap of the bus through its effects, sums, adds the mic send, runs
// the master chain, and feeds recorder, monitor and spectrum. Refcon: OutputAUContext. Render thread.
OSStatus renderBus(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                   AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
