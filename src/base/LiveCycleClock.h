#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "base/Runtime.h"

namespace sonmere {

// A cycle clock on a thread of its own that sleeps until absolute deadlines. A late cycle is not skipped: the
// next deadline is what the callback returns.
class LiveCycleClock final : public CycleClock {
 public:
  // `epoch` is the zero of the deadlines.
  LiveCycleClock(std::string label, std::chrono::steady_clock::time_point epoch, Duration firstDeadline,
                 Runtime::Cycle cycle);
  // Waits for a running cycle, except inside that cycle.
  ~LiveCycleClock() override;

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::thread thread_;
};

}  // namespace sonmere
