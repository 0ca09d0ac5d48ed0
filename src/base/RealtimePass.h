#pragma once

#include <atomic>

#include "base/RealtimeScope.h"

namespace sonmere {

// Stands around the one thing that a render callback may do although a RealtimeScope forbids it. Whoever
// watches the scopes knows each by its kind, and lets pass that and nothing else. Render thread.
class RealtimePass {
 public:
  enum class Kind {
    wake,       // one system call: another process is woken from its sleep on shared memory
    elsewhere,  // the simulation of another process, in its place
  };
  struct Hooks {
    void (*open)(Kind kind) noexcept;
    void (*close)() noexcept;
  };

  explicit RealtimePass(Kind kind) noexcept {
    if (!RealtimeScope::isActive()) return;
    used_ = hooks_.load(std::memory_order_acquire);
    if (used_) used_->open(kind);
  }
  ~RealtimePass() {
    if (used_) used_->close();
  }
  RealtimePass(const RealtimePass&) = delete;
  RealtimePass& operator=(const RealtimePass&) = delete;

  // Main thread, before any callback runs. `hooks` must live as long as the process.
  static void install(const Hooks* hooks) noexcept { hooks_.store(hooks, std::memory_order_release); }

 private:
  const Hooks* used_ = nullptr;
  inline static std::atomic<const Hooks*> hooks_{nullptr};
};

}  // namespace sonmere
