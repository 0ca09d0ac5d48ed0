#pragma once

#include <memory>

#include "base/Runtime.h"

namespace sonmere {

// Real time and real threads. The main queue runs on the thread that calls run(). Each serial queue has a
// thread of its own from its first task on; the global queue has as many as are busy. One timer thread sleeps
// until the next thing due: an idle runtime makes no wake-up at all. A cycle clock has its own thread, at
// real-time priority where the system allows it, with flush-to-zero set.
class LiveRuntime final : public Runtime {
 public:
  LiveRuntime();
  // Waits for running tasks; what is still queued is dropped.
  ~LiveRuntime() override;

  // Runs the main queue until stop() is called. Main thread.
  void run();
  // Ends run() after the task that calls it. Threads: any; also safe in a signal handler's helper thread.
  void stop();

  // For a main thread that runs another loop, as that of a window: while the descriptor can be read, runDue()
  // runs the tasks of the main queue that wait, and returns. It takes the place of run(). The descriptor is
  // this object's; -1 where the system has none left. Main thread.
  int mainQueueDescriptor();
  void runDue();

  Queue& mainQueue() override;
  std::shared_ptr<Queue> serialQueue(std::string label) override;
  Queue& globalQueue() override;
  Duration uptime() const noexcept override;
  Date wallTime() const override;
  // On the main thread the main queue sleeps too.
  void blockFor(Duration duration) override;
  bool waitUntil(const std::function<bool()>& condition, Duration timeout) override;
  std::unique_ptr<CycleClock> startCycles(std::string label, Duration firstDeadline, Cycle cycle) override;
  std::uint64_t randomBits() override;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace sonmere
