#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/device/OutputUnit.h"
#include "audio/engine/RenderContext.h"
#include "dsp/RenderScratch.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// What the callback of an app's own device works on. Lives until the unit is gone.
struct AppOutputContext : RenderContext {
  AppOutputContext(std::shared_ptr<SingleAppTap> itsTap, double rate)
      : RenderContext(rate), tap(std::move(itsTap)) {}

  const std::shared_ptr<SingleAppTap> tap;
  // Of a frame that the callback makes, and which of its channels take left and right. Before the first call.
  std::uint32_t channels = 2, placedLeft = 0, placedRight = 1;
  // The render.
  RTScalar<std::int64_t> renders, lastSliceFrames;
  std::vector<float> scratch = std::vector<float>(kRenderScratchSamples);
};

// Plays one app at its volume, and nothing else of it, on two channels of its device. Refcon:
// AppOutputContext. Render thread of the device.
OSStatus renderAppOutput(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                         AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
