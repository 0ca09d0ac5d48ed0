#pragma once

// The limiter over registers of a given width.
// Only for the files that compile the kernels for one instruction set each: all here has internal linkage,
// and nothing from elsewhere is called, so that no code for a newer processor is shared with the rest of the
// program.

#include "dsp/kernels/Lanes.h"

namespace sonmere {
namespace {

template <class Samples>
SONMERE_INLINE Samples clampTo(Samples v, Samples ceiling) {
  // A comparison that is false for a NaN leaves it to the lower bound.
  v = v > ceiling ? ceiling : v;
  return v > -ceiling ? v : -ceiling;
}

// The limiters of up to a register's streams: in place (Cursors) or on their way back from lying side by side
// (SideCursors).
template <std::size_t Bytes, class Cursors>
class LimiterPart {
 public:
  Cursors cursors;

  SONMERE_INLINE void begin(const LimiterLane* lanes, std::size_t streams) {
    target_ = inBothLanes<Bytes>(streams, 1, [&](std::size_t s) { return lanes[s].target; });
    rate_ = inBothLanes<Bytes>(streams, 1, [&](std::size_t s) { return lanes[s].rate; });
    ceiling_ = inBothLanes<Bytes>(streams, 1, [&](std::size_t s) { return lanes[s].ceiling; });
    gain_ = inBothLanes<Bytes>(streams, 1, [&](std::size_t s) { return lanes[s].gain; });
  }
  // With every frame `beside` does a step of something else, which needs none of these results.
  template <class Beside>
  SONMERE_INLINE void advance(std::size_t frames, Beside&& beside) {
    const Samples target = target_, rate = rate_, ceiling = ceiling_;
    Samples gain = gain_;
    runThrough<Bytes>(cursors, frames, [&](auto x) {
      gain = (gain - target) * rate + target;
      beside();
      return clampTo<Samples>(x * gain, ceiling);
    });
    gain_ = gain;
  }
  // Without limiting.
  SONMERE_INLINE void pass(std::size_t frames) {
    runThrough<Bytes>(cursors, frames, [](auto x) { return x; });
  }
  SONMERE_INLINE void end(LimiterLane* lanes, std::size_t streams) const {
    for (std::size_t s = 0; s < streams; ++s) lanes[s].gain = gain_[2 * s];
  }

 private:
  using Samples = typename Wide<Bytes>::Samples;
  Samples target_, rate_, ceiling_, gain_;
};

// One stream. Once a step leaves the gain unchanged, so would all the others to the end of the block.
SONMERE_INLINE void limitOne(LimiterLane& lane, float* block, std::size_t frames) {
  const float target = lane.target, rate = lane.rate, ceiling = lane.ceiling;
  float gain = lane.gain;
  std::size_t i = 0;
  for (bool moves = true; i < frames && moves; ++i) {
    const float next = (gain - target) * rate + target;
    moves = std::memcmp(&next, &gain, sizeof gain) != 0;
    gain = next;
    block[2 * i] = clampTo(block[2 * i] * gain, ceiling);
    block[2 * i + 1] = clampTo(block[2 * i + 1] * gain, ceiling);
  }
  for (std::size_t at = 2 * i; at < 2 * frames; ++at) block[at] = clampTo(block[at] * gain, ceiling);
  lane.gain = gain;
}

}  // namespace
}  // namespace sonmere
