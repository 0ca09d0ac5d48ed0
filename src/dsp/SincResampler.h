#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dsp/SincTable.h"

namespace sonmere {

// Changes the rate of interleaved frames by a windowed sinc whose ratio may move while it runs, for rates
// that differ and for clocks that drift. Stop band below -90 dB. Allocates only in its constructor; one
// thread.
class SincResampler {
 public:
  // `inputPerOutput` fixes the filter; later ratios must stay within a few percent of it. `maximumInput` is
  // the most frames pushed before they are pulled.
  SincResampler(std::uint32_t channels, double inputPerOutput, std::uint32_t maximumInput);

  void setInputPerOutput(double ratio) noexcept { step_ = ratio; }
  // Frames that must still be pushed before `outputFrames` can be pulled.
  std::uint32_t inputNeeded(std::uint32_t outputFrames) const noexcept;
  void push(const float* frames, std::uint32_t count) noexcept;
  // Writes up to `count` frames; returns how many there were.
  std::uint32_t pull(float* frames, std::uint32_t count) noexcept;
  // Forgets what was pushed: the next output starts from silence.
  void reset() noexcept;
  // The same, but what came before are these `lookbehind()` frames. The next output lies this part of a frame
  // behind the next frame that is pushed.
  void resume(const float* frames, double fraction) noexcept;
  std::uint32_t lookbehind() const noexcept { return taps_ / 2 - 1; }
  // Frames that were pushed and not played: from the next output on to the last.
  double pending() const noexcept { return double(filled_) - index_ - fraction_ - lookbehind(); }

 private:
  void filterPair(std::uint32_t channel, float* out) const noexcept;
  void dropConsumed() noexcept;

  std::uint32_t channels_;
  double step_;
  std::shared_ptr<const SincTable> table_;
  std::uint32_t taps_;
  std::uint32_t capacity_;      // frames
  std::vector<float> history_;  // a plane of capacity_ frames for each channel
  std::uint32_t filled_ = 0;    // frames in use
  std::uint32_t index_ = 0;     // first frame under the filter
  double fraction_ = 0;
};

}  // namespace sonmere
