#pragma once

#include <memory>

#include "audio/device/OutputUnit.h"
#include "audio/engine/RenderContext.h"
#include "input/CallbackGate.h"
#include "input/MicClockFollower.h"
#include "input/MicRenderState.h"

namespace sonmere {

// What the bridge's output callback works on.
struct MicBridgeContext : RenderContext {
  MicBridgeContext(std::shared_ptr<MicRenderState> itsState, double rate)
      : RenderContext(rate), state(std::move(itsState)), follower(rate) {}
  const std::shared_ptr<MicRenderState> state;
  CallbackGate gate{reader};
  MicClockFollower follower;
};

// Empties the mic's ring into the bridge; a ring that holds too little plays silence and stays as it is.
// Where capture and bridge run on different rates, what gathers is trimmed; where only their clocks differ,
// the follower keeps them together. `refcon` is for
// RenderContext::of<MicBridgeContext>. Render thread of the bridge device.
OSStatus micBridgeCallback(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                           AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
