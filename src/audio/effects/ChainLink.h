#pragma once

#include "audio/effects/SharedChain.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// The render's side of a chain that runs outside of this process: the memory that both see, for as long as
// anybody holds the link, whatever became of the other side.
class ChainLink {
 public:
  virtual ~ChainLink() = default;
  virtual SharedChain& memory() noexcept = 0;
  // Blocks were handed over. Never waits. Render thread.
  virtual void wake() noexcept SONMERE_NONBLOCKING = 0;
};

}  // namespace sonmere
