#pragma once

// The kernels over registers of a given width.
// Only for the files that compile the kernels for one instruction set each: all here has internal linkage,
// and nothing from elsewhere is called, so that no code for a newer processor is shared with the rest of the
// program.

#include "dsp/kernels/LaneEqualiser.h"
#include "dsp/kernels/LaneLimiter.h"

namespace sonmere {
namespace {

// target += source * gain over `n` samples from sample `at` of all blocks on; the sum stays in a register
// while the sources pass. `n` is a multiple of a register.
template <std::size_t Bytes>
SONMERE_INLINE void mixWhole(float* target, const float* const* sources, const float* gains,
                             std::size_t count, std::size_t at, std::size_t n) {
  using Samples = typename Wide<Bytes>::Samples;
  for (const std::size_t end = at + n; at < end; at += Wide<Bytes>::kSamples) {
    Samples sum, x;
    std::memcpy(&sum, target + at, Bytes);
    for (std::size_t s = 0; s < count; ++s) {
      std::memcpy(&x, sources[s] + at, Bytes);
      sum = sum + x * gains[s];
    }
    std::memcpy(target + at, &sum, Bytes);
  }
}

SONMERE_INLINE void mixRest(float* target, const float* const* sources, const float* gains, std::size_t count,
                            std::size_t at, std::size_t n) {
  for (const std::size_t end = at + n; at < end; ++at) {
    float sum = target[at];
    for (std::size_t s = 0; s < count; ++s) sum = sum + sources[s][at] * gains[s];
    target[at] = sum;
  }
}

template <std::size_t Bytes>
void equaliseLanes(EqualiserLane* lanes, float* const* blocks, std::size_t streams,
                   std::size_t frames) noexcept {
  constexpr std::size_t width = Wide<Bytes>::kStreams;
  while (streams > 0) {
    const std::size_t here = streams < 2 * width ? streams : 2 * width;
    if (here > width)
      equaliseTwoRegisters<Bytes>(lanes, blocks, here, frames);
    else
      equaliseOneRegister<Bytes>(lanes, blocks, here, frames);
    lanes += here;
    blocks += here;
    streams -= here;
  }
}

template <std::size_t Bytes>
void equalise(EqualiserLane& lane, float* block, std::size_t frames) noexcept {
  SingleEqualiser<Bytes> equaliser;
  equaliser.begin(lane, block, frames);
  equaliser.advance(frames);
  equaliser.end(lane);
}

// The limiters of all streams, a register after the other.
template <std::size_t Bytes>
class Limiters {
 public:
  SONMERE_INLINE Limiters(LimiterLane* lanes, float* const* blocks, std::size_t streams)
      : lanes_(lanes), streams_(streams) {
    for (std::size_t s = 0; s < streams; s += kWidth) parts_[count_++].begin(lanes + s, blocks + s, in(s));
  }
  template <class Beside>
  SONMERE_INLINE void advance(std::size_t frames, Beside&& beside) {
    if (count_ == 0) return;
    parts_[0].advance(frames, beside);
    for (std::size_t part = 1; part < count_; ++part) parts_[part].advance(frames, [] {});
  }
  SONMERE_INLINE void end() {
    for (std::size_t part = 0; part < count_; ++part)
      parts_[part].end(lanes_ + part * kWidth, in(part * kWidth));
  }

 private:
  static constexpr std::size_t kWidth = Wide<Bytes>::kStreams;
  SONMERE_INLINE std::size_t in(std::size_t first) const {
    return streams_ - first < kWidth ? streams_ - first : kWidth;
  }

  LimiterLane* lanes_;
  std::size_t streams_;
  std::size_t count_ = 0;
  LimiterPart<Bytes> parts_[kMaxLanes / kWidth];
};

// Frames that pass the limiters, then the sum, then the equaliser before the next ones do.
constexpr std::size_t kTurn = 8;

template <std::size_t Bytes>
void limitAndMix(const MixJob& job, std::size_t frames) noexcept {
  // Half of a wide register has room for a few streams, and is back sooner.
  if constexpr (Bytes > 32)
    if (job.limitedCount <= Wide<Bytes>::kStreams / 2) return limitAndMix<Bytes / 2>(job, frames);
  Limiters<Bytes> limiters(job.limiters, job.limited, job.limitedCount);
  SingleEqualiser<Bytes> equaliser;
  if (job.equaliser) equaliser.begin(*job.equaliser, job.sum, frames);
  const bool isBeside = job.equaliser && job.limitedCount > 0;
  std::size_t mixed = 0, equalised = 0;
  for (; mixed + kTurn <= frames; mixed += kTurn) {
    // The equaliser is a turn behind, so that neither waits for the other.
    if (isBeside && equalised >= 2) {
      limiters.advance(kTurn, [&] { equaliser.advanceOne(); });
      equalised += kTurn;
    } else {
      limiters.advance(kTurn, [] {});
      if (isBeside && mixed > 0) {
        equaliser.advance(kTurn);
        equalised += kTurn;
      }
    }
    mixWhole<Bytes>(job.sum, job.sources, job.gains, job.sourceCount, 2 * mixed, 2 * kTurn);
  }
  limiters.advance(frames - mixed, [] {});
  mixRest(job.sum, job.sources, job.gains, job.sourceCount, 2 * mixed, 2 * (frames - mixed));
  limiters.end();
  if (!job.equaliser) return;
  equaliser.advance(frames - equalised);
  equaliser.end(*job.equaliser);
}

void limit(LimiterLane& lane, float* block, std::size_t frames) noexcept { limitOne(lane, block, frames); }

void scale(float* block, float gain, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) block[i] *= gain;
}

void addTo(float* __restrict target, const float* __restrict source, std::size_t n) noexcept {
  for (std::size_t i = 0; i < n; ++i) target[i] += source[i];
}

// As whole numbers the bits of magnitudes have the order of their values, with what is no number above all.
float maxMagnitude(const float* block, std::size_t n) noexcept {
  std::int32_t largest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    std::int32_t bits;
    std::memcpy(&bits, block + i, sizeof bits);
    bits &= 0x7fffffff;
    largest = bits > largest ? bits : largest;
  }
  float result;
  std::memcpy(&result, &largest, sizeof result);
  return result;
}

// Eight partial sums whatever the width of a register is: the order of the additions is part of the result.
float sumOfSquares(const float* block, std::size_t n) noexcept {
  using Samples = Wide<32>::Samples;
  Samples sum{};
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    Samples x;
    std::memcpy(&x, block + i, sizeof x);
    sum += x * x;
  }
  for (std::size_t lane = 0; i < n; ++i, ++lane) sum[lane] += block[i] * block[i];
  return ((sum[0] + sum[1]) + (sum[2] + sum[3])) + ((sum[4] + sum[5]) + (sum[6] + sum[7]));
}

void deinterleave(const float* __restrict block, float* __restrict left, float* __restrict right,
                  std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    left[i] = block[2 * i];
    right[i] = block[2 * i + 1];
  }
}

void interleave(const float* __restrict left, const float* __restrict right, float* __restrict block,
                std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) {
    block[2 * i] = left[i];
    block[2 * i + 1] = right[i];
  }
}

// A frame at a time as one integer, the right sample in its upper half.
void stereoFromInt16(const std::uint8_t* __restrict block, float* __restrict left, float* __restrict right,
                     std::size_t frames) noexcept {
  constexpr float kScale = 1.0f / 32768;
  for (std::size_t i = 0; i < frames; ++i) {
    std::int32_t frame;
    std::memcpy(&frame, block + 4 * i, sizeof frame);
    left[i] = float(std::int16_t(frame)) * kScale;
    right[i] = float(frame >> 16) * kScale;
  }
}

// The set for registers of so many bytes.
template <std::size_t Bytes>
constexpr Kernels laneKernels(const char* target) {
  return {
      .target = target,
      .equalise = equalise<Bytes>,
      .equaliseLanes = equaliseLanes<Bytes>,
      .limit = limit,
      .limitAndMix = limitAndMix<Bytes>,
      .scale = scale,
      .addTo = addTo,
      .maxMagnitude = maxMagnitude,
      .sumOfSquares = sumOfSquares,
      .deinterleave = deinterleave,
      .interleave = interleave,
      .stereoFromInt16 = stereoFromInt16,
  };
}

#undef SONMERE_INLINE

}  // namespace
}  // namespace sonmere
