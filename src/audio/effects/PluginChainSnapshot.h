#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "audio/effects/HostedPlugin.h"
#include "audio/effects/PluginRenderScratch.h"
#include "base/RealtimeScope.h"
#include "base/Time.h"

namespace sonmere {

// A chain as the render sees it, fixed once built but for the effects' own counters.
struct PluginChainSnapshot {
  // How long an unpublished chain is kept for a render that may hold it.
  static constexpr Duration kGrace = fromMilliseconds(250);

  std::vector<std::shared_ptr<HostedPlugin>> plugins;
  std::shared_ptr<PluginRenderScratch> scratch;
  // Where the key of the effect that runs is told; null where nobody asks.
  std::atomic<std::int32_t>* running = nullptr;

  // Runs the chain in place on `frames` interleaved stereo frames; a block of no frame, or of more than 4096,
  // passes untouched. An effect that fails hands on whatever its pair held; after 100 failures in a row it is
  // bypassed. Render thread.
  void render(float* interleaved, std::uint32_t frames) const noexcept SONMERE_NONBLOCKING;
};

}  // namespace sonmere
