#pragma once

#include <atomic>
#include <cstdint>

#include "base/RealtimeScope.h"

namespace sonmere {

// Cycles that a stream was not given, seen from the server's clock: it goes on without a stream that is late,
// and what would have been in those cycles is lost.
struct MissedCycles {
  std::uint64_t times = 0;   // in a row count once
  std::uint64_t frames = 0;  // of the stream
};

class StreamClock {
 public:
  // A cycle begins. `seconds` is the server's clock, `frames` the length of the cycle at the stream's rate.
  // Returns the stream's time in frames, with those that are missing. Render thread.
  double begin(double seconds, std::uint32_t frames, double rate) noexcept SONMERE_NONBLOCKING;
  // The stream was paused: the clock went on without it. Threads: any.
  void pause() noexcept { isPaused_.store(true, std::memory_order_relaxed); }
  // Threads: any.
  MissedCycles missed() const noexcept {
    return {times_.load(std::memory_order_relaxed), frames_.load(std::memory_order_relaxed)};
  }

 private:
  std::atomic<bool> isPaused_{true};
  std::atomic<std::uint64_t> times_{0}, frames_{0};
  // Render thread.
  double lastSeconds_ = 0, sampleTime_ = 0;
  std::uint32_t lastFrames_ = 0;
};

}  // namespace sonmere
