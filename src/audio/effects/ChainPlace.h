#pragma once

#include <functional>
#include <memory>

#include "audio/effects/PluginChainSnapshot.h"

namespace sonmere {

// Where a chain sounds: a render that takes a snapshot, and its rate.
struct ChainPlace {
  double sampleRate = 0;
  // Tells one render from another that takes its place.
  const void* target = nullptr;
  // Replaces the render's chain, and retires the one before. Null for no chain.
  std::function<void(std::shared_ptr<const PluginChainSnapshot>)> publish;
};

}  // namespace sonmere
