#pragma once

#include "audio/effects/PluginChainSnapshot.h"
#include "audio/effects/SharedChain.h"

namespace sonmere {

// The other side of an IsolatedChain: runs every block that was handed over and not yet answered through the
// chain, and answers it; without a chain it comes back as it is. Render thread of the process that runs it.
void answerBlocks(SharedChain& memory, const PluginChainSnapshot* chain) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
