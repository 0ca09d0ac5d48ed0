#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dsp/SincResampler.h"
#include "platform/FrameFIFO.h"

namespace sonmere {

// Carries frames from the cycle of one clock into the cycle of another. With `corrected` the reader resamples
// so that the backlog stays at its aim; without, the two clocks slip: a missing block is silence, a
// surplus is dropped.
class ClockBridge {
 public:
  struct Shape {
    std::uint32_t channels = 2;
    double sourceRate = 48000;  // true rates in Hz, clock error included
    double targetRate = 48000;
    std::uint32_t sourceFrames = 512;  // frames of one cycle
    std::uint32_t targetFrames = 512;
    bool corrected = true;
    bool operator==(const Shape&) const = default;
  };

  explicit ClockBridge(const Shape& shape);

  const Shape& shape() const { return shape_; }
  // The source's cycle.
  void write(const float* frames, std::uint32_t count) noexcept;
  // The target's cycle: fills all of `count` frames.
  void read(float* frames, std::uint32_t count) noexcept;

 private:
  bool isReady(std::uint32_t backlog) noexcept;
  void readCorrected(float* frames, std::uint32_t count, std::uint32_t backlog) noexcept;
  void readPlain(float* frames, std::uint32_t count, std::uint32_t backlog) noexcept;
  void starve(float* frames, std::uint32_t count) noexcept;

  const Shape shape_;
  const double ratio_;  // source frames per target frame
  const std::uint32_t aim_;
  FrameFIFO fifo_;
  // The target's cycle only.
  SincResampler resampler_;
  std::vector<float> scratch_;
  bool primed_ = false;
  double smoothedBacklog_;
};

}  // namespace sonmere
