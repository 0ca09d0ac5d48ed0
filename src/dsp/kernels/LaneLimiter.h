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

// One value of each stream. Half a register, where an operation takes less time to come back.
template <std::size_t Bytes>
struct PerStream {
  using W = Wide<Bytes>;
  typedef float Values __attribute__((vector_size(W::kStreams * sizeof(float))));

  template <class Value>
  SONMERE_INLINE static Values of(std::size_t streams, Value&& value) {
    float values[W::kStreams];
    for (std::size_t s = 0; s < W::kStreams; ++s) values[s] = s < streams ? value(s) : 1.0f;
    Values result;
    std::memcpy(&result, values, sizeof result);
    return result;
  }
  SONMERE_INLINE static typename W::Samples inBothLanes(Values v) {
    return inBothLanes(v, std::make_index_sequence<W::kSamples>{});
  }

 private:
  template <std::size_t... K>
  SONMERE_INLINE static typename W::Samples inBothLanes(Values v, std::index_sequence<K...>) {
    return __builtin_shufflevector(v, v, int(K / 2)...);
  }
};

// The limiters of up to a register's streams: in place (Cursors) or on their way back from lying side by side
// (SideCursors).
template <std::size_t Bytes, class Cursors>
class LimiterPart {
 public:
  Cursors cursors;

  SONMERE_INLINE void begin(const LimiterLane* lanes, std::size_t streams) {
    target_ = Each::of(streams, [&](std::size_t s) { return lanes[s].target; });
    rate_ = Each::of(streams, [&](std::size_t s) { return lanes[s].rate; });
    gain_ = Each::of(streams, [&](std::size_t s) { return lanes[s].gain; });
    ceiling_ = Each::inBothLanes(Each::of(streams, [&](std::size_t s) { return lanes[s].ceiling; }));
  }
  // With every frame `beside` does a step of something else, which needs none of these results.
  template <class Beside>
  SONMERE_INLINE void advance(std::size_t frames, Beside&& beside) {
    const auto target = target_, rate = rate_;
    const auto ceiling = ceiling_;
    auto gain = gain_;
    runThrough<Bytes>(cursors, frames, [&](auto x) {
      gain = (gain - target) * rate + target;
      beside();
      return clampTo<Samples>(x * Each::inBothLanes(gain), ceiling);
    });
    gain_ = gain;
  }
  // Without limiting.
  SONMERE_INLINE void pass(std::size_t frames) {
    runThrough<Bytes>(cursors, frames, [](auto x) { return x; });
  }
  SONMERE_INLINE void end(LimiterLane* lanes, std::size_t streams) const {
    for (std::size_t s = 0; s < streams; ++s) lanes[s].gain = gain_[s];
  }

 private:
  using Samples = typename Wide<Bytes>::Samples;
  using Each = PerStream<Bytes>;
  typename Each::Values target_, rate_, gain_;
  Samples ceiling_;
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
