#pragma once

#include <memory>
#include <vector>

#include "audio/engine/InputRunner.h"
#include "input/CallbackGate.h"
#include "input/MicRenderState.h"

namespace sonmere {

// The longest block that a unit is asked for, and the longest that is captured: one beyond is silence and a
// count.
constexpr std::uint32_t kMicFramesPerSlice = 4096;
constexpr std::int64_t kMicLongestBlock = 16384;

// What one input unit's callback works on, with memory for its longest block.
struct MicCaptureContext : InputContext {
  MicCaptureContext(std::shared_ptr<MicRenderState> itsState, int itsChannels, double itsRate);

  const std::shared_ptr<MicRenderState> state;
  const int channels;
  CallbackGate gate{reader};

  std::vector<float> captured;  // interleaved
  std::vector<float> stereo;
  std::vector<float> mono;
};

// Fetches a block, maps its channels, mixes the additional inputs, runs effects, equaliser, limiter and
// volume, and writes the result into the mic's ring. `refcon` is for
// RenderContext::of<MicCaptureContext>. Render thread of the input device.
OSStatus micInputCallback(void* refcon, const AudioTimeStamp& time, std::uint32_t bus,
                          std::uint32_t frames) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
