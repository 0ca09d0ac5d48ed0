#include "audio/effects/ChainService.h"

#include <algorithm>

namespace sonmere {

namespace {

void tellState(SharedChain& memory, const PluginChainSnapshot* chain) noexcept {
  std::uint64_t bypassed = 0;
  std::uint32_t total = 0;
  const std::size_t count = chain ? std::min(chain->plugins.size(), SharedChain::kMostPlugins) : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const HostedPlugin& plugin = *chain->plugins[i];
    const auto latency = std::uint32_t(std::max(0, plugin.latencyFrames()));
    memory.latencies[i].store(latency, std::memory_order_relaxed);
    if (plugin.autoBypassed) bypassed |= std::uint64_t(1) << i;
    if (!plugin.bypassed && !plugin.autoBypassed) total += latency;
  }
  memory.autoBypassed.store(bypassed, std::memory_order_relaxed);
  memory.latencyFrames.store(total, std::memory_order_relaxed);
}

}  // namespace

void answerBlocks(SharedChain& memory, const PluginChainSnapshot* chain) noexcept SONMERE_NONBLOCKING {
  std::uint32_t number = memory.answered.load(std::memory_order_relaxed);
  for (const std::uint32_t end = memory.handed.load(std::memory_order_acquire); number != end; ++number) {
    SharedChain::Slot& slot = memory.ringSlots[number % SharedChain::kSlots];
    if (chain) chain->render(slot.samples.data(), std::min(slot.frames, kMaxPluginFrames));
    tellState(memory, chain);
    memory.answered.store(number + 1, std::memory_order_release);
  }
}

}  // namespace sonmere
