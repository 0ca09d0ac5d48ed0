#pragma once

#include <functional>
#include <memory>

#include "base/Time.h"

struct pw_context;
struct pw_loop;
struct pw_thread_loop;

namespace sonmere {

// The thread on which the audio server's messages arrive, and the context of all connections. Its lock guards
// all state of the platform; the thread holds it while it hands out messages. The audio thread is another one
// and never takes it.
class PipeWireLoop {
 public:
  PipeWireLoop();
  ~PipeWireLoop();
  PipeWireLoop(const PipeWireLoop&) = delete;
  PipeWireLoop& operator=(const PipeWireLoop&) = delete;

  // Held by every thread that touches the platform's state. May be nested, but not around `waitUntil`.
  class Lock {
   public:
    explicit Lock(PipeWireLoop& loop);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pw_thread_loop* thread_;
  };

  // Lets messages come in until the condition holds or the timeout has passed; returns the condition's last
  // value. The caller holds the lock once and is not the loop's own thread.
  bool waitUntil(const std::function<bool()>& condition, Duration timeout);
  // Messages that may have changed a condition have been handled. Loop's thread, or any with the lock.
  void wake();

  // Runs the task on the loop's thread, under the lock, once the present message has been handled.
  void post(std::function<void()> task);

  pw_loop* events() const;
  pw_context* context() const { return context_; }

 private:
  pw_thread_loop* thread_ = nullptr;
  pw_context* context_ = nullptr;
};

}  // namespace sonmere
