#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "audio/effects/PluginRenderScratch.h"

namespace sonmere {

// What the render of a chain and the process that runs it share. All zero is its first state. Blocks are
// numbered from 0 on; block n lies in slot n modulo the slots. The render believes nothing of it but samples
// and `answered`, and holds both to what is possible.
struct SharedChain {
  static constexpr std::uint32_t kSlots = 4;
  static constexpr std::size_t kMostPlugins = 64;
  struct Slot {
    std::uint32_t frames;
    std::array<float, 2 * std::size_t(kMaxPluginFrames)> samples;  // interleaved, rendered in place
  };

  // Blocks handed over. Written by the render; the other side sleeps on it.
  alignas(64) std::atomic<std::uint32_t> handed;
  // Not 0: the other side is to end.
  std::atomic<std::uint32_t> isOver;
  // Blocks answered. Written by the other side.
  alignas(64) std::atomic<std::uint32_t> answered;
  // The key of the plug-in that runs now; 0 between plug-ins.
  std::atomic<std::int32_t> running;
  // The key of the plug-in that is being made; 0 for none.
  std::atomic<std::int32_t> making;
  // Latency of the chain's plug-ins together, in frames.
  std::atomic<std::uint32_t> latencyFrames;
  // Of each plug-in, by its place in the chain.
  std::array<std::atomic<std::uint32_t>, kMostPlugins> latencies;
  // A bit for each place: the plug-in there has bypassed itself.
  std::atomic<std::uint64_t> autoBypassed;
  alignas(64) std::array<Slot, kSlots> ringSlots;
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free && sizeof(std::atomic<std::uint32_t>) == 4);

}  // namespace sonmere
