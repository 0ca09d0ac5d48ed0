#pragma once

#include <deque>
#include <map>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "base/Runtime.h"

namespace sonmere {

// Virtual time on one thread: time passes only by jumping to the next thing due, so an hour takes as long as
// its work. Runs are reproducible bit by bit from the seed. What falls due at the same instant on different
// queues and clocks runs in an order drawn from the seed (`shuffle`); each serial queue stays in order.
// blockFor and waitUntil run everything else that falls due, except the queue that sleeps.
class VirtualRuntime final : public Runtime {
 public:
  // 2026-01-01 12:00:00 UTC.
  static constexpr Date kDefaultStart{std::chrono::sys_days{std::chrono::year{2026} / 1 / 1} +
                                      std::chrono::hours(12)};

  // The system's date, for runs whose dates people read.
  static Date today();

  explicit VirtualRuntime(std::uint64_t seed, bool shuffle = true, Date wallStart = kDefaultStart);
  ~VirtualRuntime() override;

  Queue& mainQueue() override;
  std::shared_ptr<Queue> serialQueue(std::string label) override;
  Queue& globalQueue() override;
  Duration uptime() const noexcept override { return now_; }
  Date wallTime() const override;
  void blockFor(Duration duration) override;
  bool waitUntil(const std::function<bool()>& condition, Duration timeout) override;
  std::unique_ptr<CycleClock> startCycles(std::string label, Duration firstDeadline, Cycle cycle) override;
  std::uint64_t randomBits() override { return random_(); }

  // Runs the caller as a task of the main queue that sleeps: everything due in the next `duration` runs,
  // the main queue's tasks too. For the outermost level of a program or test.
  void advance(Duration duration);
  // Runs what is due now, without letting time pass.
  void settle() { advance(Duration::zero()); }
  // Jumps the clock without running anything: what falls due in between is late. For tests of clock jumps.
  void jump(Duration duration) { now_ += duration; }

 private:
  class VirtualQueue;
  class VirtualCycleClock;
  struct Timer {
    Duration due;
    std::uint64_t tieBreak;
    std::uint64_t sequence;
    std::weak_ptr<VirtualQueue> queue;
    std::shared_ptr<std::atomic<bool>> cancelled;
    Duration interval;  // zero: once
    std::shared_ptr<Task> task;
    VirtualCycleClock* clock = nullptr;
  };
  // Heap order: the earliest on top; equal instants by the seed, or as they came.
  struct Later {
    bool operator()(const Timer& a, const Timer& b) const {
      return std::tie(a.due, a.tieBreak, a.sequence) > std::tie(b.due, b.tieBreak, b.sequence);
    }
  };

  void addTimer(Timer timer);
  void fireDueTimers();
  void runTimerTask(Timer timer);
  bool runOne();
  // Runs until `limit` or until `stop` holds; returns whether it held.
  bool runUntil(Duration limit, const std::function<bool()>* stop);
  bool sleepUntil(Duration limit, const std::function<bool()>* stop);
  Timer* earliest();

  Duration now_{0};
  const Date wallStart_;
  bool shuffle_;
  std::mt19937_64 random_;
  std::mt19937_64 order_;
  std::uint64_t sequence_ = 0;
  std::vector<Timer> timers_;  // a heap, the earliest first
  std::vector<std::shared_ptr<VirtualQueue>> ready_;
  std::vector<VirtualQueue*> current_;  // stack of the queues whose tasks are running
  std::shared_ptr<VirtualQueue> main_;
  std::shared_ptr<VirtualQueue> global_;
};

}  // namespace sonmere
