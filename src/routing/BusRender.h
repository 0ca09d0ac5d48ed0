#pragma once

#include <array>
#include <memory>

#include "audio/device/OutputUnit.h"
#include "base/RenderReader.h"
#include "dsp/CycleWatch.h"
#include "dsp/RenderSteps.h"
#include "routing/BusRenderState.h"

namespace sonmere {

// What one running unit's callback works on. Lives until the unit is disposed of.
struct OutputAUContext {
  OutputAUContext(std::shared_ptr<BusRenderState> renderState, int bus, double rate)
      : state(std::move(renderState)), busIndex(bus), sampleRate(rate) {}

  std::shared_ptr<BusRenderState> state;
  int busIndex;
  RenderScratch scratch;
  double sampleRate = 48000.0;                    // Hz
  RTScalar<bool> retired{false};                  // its unit waits for disposal: no sound, no reading
  RTScalar<std::uint64_t> lastRenderHostTime{0};  // ns; 0: not rendered yet
  CycleWatch cycles;                              // the render
  bool isInterrupted = false;                     // the render: this cycle does not follow the one before
  std::shared_ptr<RenderReader> reader = std::make_shared<RenderReader>();
};

// The render callback of a bus: pulls every tap of the bus through its effects, sums, adds the mic send, runs
// the master chain, and feeds recorder, monitor and spectrum. Refcon: OutputAUContext. Render thread.
OSStatus renderBus(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                   AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
