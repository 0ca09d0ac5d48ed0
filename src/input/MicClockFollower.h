#pragma once

#include <cstdint>
#include <vector>

#include "base/RealtimeScope.h"
#include "dsp/MicSend.h"
#include "dsp/SincResampler.h"

namespace sonmere {

// Keeps the mic's ring from running dry or over where the microphone and the bridge run on clocks of their
// own at one nominal rate: once they are seen to drift, the bridge plays a hair faster or slower. Until then,
// and with one clock for both, every sample passes as it is. Render thread of the bridge.
class MicClockFollower {
 public:
  // One block of the bridge against what the capture has done.
  struct Cycle {
    std::int64_t avail = 0;   // frames in the ring
    double elapsed = 0;       // frames since the last block came
    std::int64_t frames = 0;  // asked for
    std::int64_t input = 0;   // frames of the last block that came
  };

  // Allocates; main thread.
  explicit MicClockFollower(double sampleRate);

  // Whether the first block may be played now. One that comes just behind the capture's waits for another:
  // were the clocks to drift apart, the next would come too early.
  bool mayBegin(const Cycle& cycle) const noexcept SONMERE_NONBLOCKING;
  // Frames to be left out at the begin, so that no more than a block is waited for.
  std::int64_t surplusAtBegin(const Cycle& cycle) const noexcept SONMERE_NONBLOCKING;

  // Looks at a block before it is played.
  void observe(const Cycle& cycle) noexcept SONMERE_NONBLOCKING;
  bool isFollowing() const noexcept { return isFollowing_; }
  // Makes a block of the bridge, while it follows, of what the ring holds from frame `at` on: at least as
  // many frames as are asked for. Returns how many it took; 0 when there were too few after all.
  std::int64_t play(const MicSend& send, std::int64_t at, const Cycle& cycle,
                    float* out) noexcept SONMERE_NONBLOCKING;
  // How far the clocks are apart, as it is followed: parts in a million, positive for a fast microphone.
  double driftPpm() const noexcept { return (step_ - 1) * 1e6; }

 private:
  static constexpr std::int64_t kMostFrames = 4096;

  double delayOf(const Cycle& cycle) const noexcept;
  double aimOf(const Cycle& cycle) const noexcept;
  bool canFollow(const Cycle& cycle) const noexcept;
  void watch(double delay) noexcept;
  void steer(double delay, const Cycle& cycle) noexcept;
  void prime(const MicSend& send, std::int64_t at) noexcept;
  std::int64_t creep(const MicSend& send, std::int64_t at, const Cycle& cycle, float* out) noexcept;

  const double sampleRate_;
  SincResampler resampler_;
  std::vector<float> scratch_;
  double lastDelay_ = 0;   // frames, of the last block
  double firstDelay_ = 0;  // since when it has moved steadily
  int steadyBlocks_ = 0;
  bool isFollowing_ = false;
  bool isPrimed_ = false;  // the resampler holds what was played before
  double fraction_ = 0;    // before that: what was played of the ring's next frame
  double drift_ = 0;       // the lasting part of the correction
  double step_ = 1;        // frames of the microphone per frame of the bridge
};

}  // namespace sonmere
