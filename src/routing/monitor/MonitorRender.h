#pragma once

#include "audio/device/OutputUnit.h"
#include "audio/engine/MonitorSources.h"
#include "audio/engine/RenderContext.h"

namespace sonmere {

// What the callback of the monitor's unit works on.
struct MonitorContext : RenderContext {
  MonitorContext(std::shared_ptr<MonitorMix> itsMix, double rate)
      : RenderContext(rate), mix(std::move(itsMix)) {}

  const std::shared_ptr<MonitorMix> mix;
};

// The sum of all sources that are on, each at its gain; nothing limits it. Refcon: MonitorContext. Render
// thread of the monitor's device.
OSStatus renderMonitor(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                       AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
