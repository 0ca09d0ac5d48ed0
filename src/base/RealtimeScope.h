#pragma once

#include <atomic>

// Marks a function that a render thread may call: no lock, no allocation, no free, no system call, no throw.
// The compiler checks it where it can (function effects, RealtimeSanitizer). Stands after noexcept.
#if defined(__clang__) && __has_cpp_attribute(clang::nonblocking)
#define SONMERE_NONBLOCKING [[clang::nonblocking]]
#else
#define SONMERE_NONBLOCKING
#endif

namespace sonmere {

// Stands at the top of every render callback: for its life the thread is a render thread. Costs a
// thread-local increment and one load; a test program installs hooks that count what must not happen inside.
class RealtimeScope {
 public:
  struct Hooks {
    void (*enter)() noexcept;
    void (*leave)() noexcept;
  };

  RealtimeScope() noexcept {
    if (depth_++ == 0)
      if (const Hooks* hooks = hooks_.load(std::memory_order_acquire)) hooks->enter();
  }
  ~RealtimeScope() {
    if (--depth_ == 0)
      if (const Hooks* hooks = hooks_.load(std::memory_order_acquire)) hooks->leave();
  }
  RealtimeScope(const RealtimeScope&) = delete;
  RealtimeScope& operator=(const RealtimeScope&) = delete;

  // Whether the calling thread is inside a render callback.
  static bool isActive() noexcept { return depth_ > 0; }
  // Main thread, before any callback runs. `hooks` must live as long as the process.
  static void install(const Hooks* hooks) noexcept { hooks_.store(hooks, std::memory_order_release); }

 private:
  inline static thread_local int depth_ = 0;
  inline static std::atomic<const Hooks*> hooks_{nullptr};
};

}  // namespace sonmere
