#pragma once

#include <atomic>

namespace sonmere {

// Keeps two render threads off the same state while it passes from one to the other (a tap that moves to
// another bus, a unit replaced by its successor). Whoever finds it taken leaves the state alone for this
// block: nobody ever waits. Render thread.
class RenderClaim {
 public:
  class Hold {
   public:
    explicit Hold(RenderClaim& claim) noexcept
        : claim_(claim.taken_.exchange(true, std::memory_order_acquire) ? nullptr : &claim) {}
    ~Hold() {
      if (claim_) claim_->taken_.store(false, std::memory_order_release);
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    explicit operator bool() const noexcept { return claim_ != nullptr; }

   private:
    RenderClaim* claim_;
  };

 private:
  std::atomic<bool> taken_{false};
};

}  // namespace sonmere
