#pragma once

#include <source_location>
#include <utility>

#include "base/RealtimeScope.h"

namespace sonmere {

// What the calling thread does, for the life of the object: the main queue's work or other work. A thread
// that nothing has marked counts as the main one.
class ThreadRole {
 public:
  enum class Kind : bool { main, other };

  explicit ThreadRole(Kind kind) noexcept : outer_(std::exchange(current_, kind)) {}
  ~ThreadRole() { current_ = outer_; }
  ThreadRole(const ThreadRole&) = delete;
  ThreadRole& operator=(const ThreadRole&) = delete;

  static bool isMain() noexcept { return current_ == Kind::main; }
  // The rest of the thread's life is other work.
  static void becomeOther() noexcept { current_ = Kind::other; }

 private:
  inline static constinit thread_local Kind current_ = Kind::main;
  const Kind outer_;
};

// Rules about threads, looked at while the program runs. A broken one is told to the handler that test
// programs install; a program without one goes on. The checks cost a thread-local load each.
class ThreadRules {
 public:
  using Handler = void (*)(const char* rule, const std::source_location& where) noexcept;

  // Threads: any; nullptr for none. Returns the handler before.
  static Handler install(Handler handler) noexcept;
  static void broken(const char* rule, const std::source_location& where) noexcept;
};

// Stands where state of the main thread is read or changed.
inline void assertMain(const std::source_location& where = std::source_location::current()) noexcept {
  if (!ThreadRole::isMain()) [[unlikely]]
    ThreadRules::broken("main thread only", where);
}

// Stands where a render thread must never come: locks, allocations, publication.
inline void assertNotRendering(const std::source_location& where = std::source_location::current()) noexcept {
  if (RealtimeScope::isActive()) [[unlikely]]
    ThreadRules::broken("not from a render callback", where);
}

}  // namespace sonmere
