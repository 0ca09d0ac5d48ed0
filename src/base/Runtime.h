#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/Queue.h"
#include "base/Time.h"

namespace sonmere {

// A periodic callback with a deadline clock of its own: a simulated device's audio thread. Destroying it
// stops it; no callback runs once the destructor has returned.
class CycleClock {
 public:
  virtual ~CycleClock() = default;
};

// Time, queues and threads. Everything that waits, sleeps, repeats or expires goes through here, so that the
// same code runs on real threads (LiveRuntime) and in reproducible virtual time (VirtualRuntime).
// Threads: any but a render thread, except `uptime`, which render threads may call.
class Runtime {
 public:
  virtual ~Runtime() = default;

  virtual Queue& mainQueue() = 0;
  // A new serial queue. Tasks posted before the last reference goes still run.
  virtual std::shared_ptr<Queue> serialQueue(std::string label) = 0;
  virtual Queue& globalQueue() = 0;

  // Monotonic time since the runtime was made. Render-safe.
  virtual Duration uptime() const noexcept = 0;
  virtual Date wallTime() const = 0;

  // The calling queue sleeps; audio and all other queues go on.
  virtual void blockFor(Duration duration) = 0;
  // Sleeps until the condition holds or the timeout has passed; returns the condition's last value. The
  // condition is evaluated on the calling thread.
  virtual bool waitUntil(const std::function<bool()>& condition, Duration timeout) = 0;

  // Calls `cycle` at `firstDeadline` (uptime) and then at each time that it returns.
  using Cycle = std::function<Duration(Duration deadline)>;
  virtual std::unique_ptr<CycleClock> startCycles(std::string label, Duration firstDeadline, Cycle cycle) = 0;

  // Random bits for identifiers: from the seed in virtual time, from the system live.
  virtual std::uint64_t randomBits() = 0;
};

}  // namespace sonmere
