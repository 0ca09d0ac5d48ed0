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
  if (count == 0) return;
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
  if (count == 0) return;
  for (const std::size_t end = at + n; at < end; ++at) {
    float sum = target[at];
    for (std::size_t s = 0; s < count; ++s) sum = sum + sources[s][at] * gains[s];
    target[at] = sum;
  }
}

// The register for so many streams: half of a wide one has room for a few, and is back sooner.
template <std::size_t Bytes>
constexpr bool isHalfEnough(std::size_t streams) {
  return Bytes > 32 && streams <= Wide<Bytes>::kStreams / 2;
}

template <std::size_t Bytes>
void equaliseSideBySide(const SideJob& job, std::size_t frames) noexcept {
  if constexpr (Bytes > 32)
    if (isHalfEnough<Bytes>(job.count)) return equaliseSideBySide<Bytes / 2>(job, frames);
  constexpr std::size_t width = Wide<Bytes>::kStreams;
  for (std::size_t first = 0; first < job.count; first += 2 * width) {
    if (job.count - first > width)
      equaliseTwoRegisters<Bytes>(job, first, frames);
    else
      equaliseOneRegister<Bytes>(job, first, frames);
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
template <std::size_t Bytes, class Cursors>
class Limiters {
 public:
  // Of streams in place.
  SONMERE_INLINE Limiters(LimiterLane* lanes, float* const* blocks, std::size_t streams)
      : lanes_(lanes), streams_(streams) {
    begin([&](auto& cursors, std::size_t first) { cursors.begin(blocks + first, in(first)); });
  }
  // Of what lies side by side; without lanes the streams only come back. Added to the sum as well if
  // `areMixed`.
  SONMERE_INLINE Limiters(const MixJob& job, std::size_t frames, bool areMixed)
      : lanes_(job.sideLimiters), streams_(job.sideCount) {
    begin([&](auto& cursors, std::size_t first) {
      cursors.begin(job.side + 2 * first * frames, job.sideBlocks + first, in(first));
      cursors.sum = areMixed ? job.sum : nullptr;
      cursors.gains = areMixed ? job.gains + first : nullptr;
    });
  }
  bool isEmpty() const { return streams_ == 0; }
  template <class Beside>
  SONMERE_INLINE void advance(std::size_t frames, Beside&& beside) {
    if (isEmpty()) return;
    advance(parts_[0], frames, beside);
    for (std::size_t part = 1; has(part); ++part) advance(parts_[part], frames, [] {});
  }
  SONMERE_INLINE void end() {
    for (std::size_t part = 0; lanes_ && has(part); ++part)
      parts_[part].end(lanes_ + part * kWidth, in(part * kWidth));
  }

 private:
  using Part = LimiterPart<Bytes, Cursors>;
  static constexpr std::size_t kWidth = Wide<Bytes>::kStreams;
  static constexpr std::size_t kParts = kMaxLanes / kWidth;

  SONMERE_INLINE bool has(std::size_t part) const { return part < kParts && part * kWidth < streams_; }
  SONMERE_INLINE std::size_t in(std::size_t first) const {
    return streams_ - first < kWidth ? streams_ - first : kWidth;
  }
  template <class BeginCursors>
  SONMERE_INLINE void begin(BeginCursors&& beginCursors) {
    for (std::size_t part = 0; has(part); ++part) {
      const std::size_t first = part * kWidth;
      if (lanes_) parts_[part].begin(lanes_ + first, in(first));
      beginCursors(parts_[part].cursors, first);
    }
  }
  template <class Beside>
  SONMERE_INLINE void advance(Part& part, std::size_t frames, Beside&& beside) {
    if (lanes_) return part.advance(frames, beside);
    part.pass(frames);
    for (; frames > 0; --frames) beside();
  }

  LimiterLane* lanes_;
  std::size_t streams_;
  Part parts_[kParts];
};

// Frames that pass the limiters, then the sum, then the equaliser before the next ones do.
constexpr std::size_t kTurn = 8;

// Whether what lies side by side fills its registers, and is all that is added, in its own order.
template <std::size_t Bytes>
bool isSideTheSum(const MixJob& job) {
  if (job.sourceCount != job.sideCount || job.sideCount % Wide<Bytes>::kStreams != 0) return false;
  for (std::size_t s = 0; s < job.sideCount; ++s)
    if (job.sources[s] != job.sideBlocks[s]) return false;
  return true;
}

// The sum's equaliser runs beside `some` of the limiters, if they are any.
template <std::size_t Bytes, class SomeLimiters, class OtherLimiters>
SONMERE_INLINE void limitAndMix(const MixJob& job, std::size_t frames, SomeLimiters& some,
                                OtherLimiters& others, std::size_t sourceCount) {
  SingleEqualiser<Bytes> equaliser;
  if (job.equaliser) equaliser.begin(*job.equaliser, job.sum, frames);
  const bool isBeside = job.equaliser && !some.isEmpty();
  std::size_t mixed = 0, equalised = 0;
  for (; mixed + kTurn <= frames; mixed += kTurn) {
    // The equaliser is a turn behind, so that neither waits for the other.
    if (isBeside && equalised >= 2) {
      some.advance(kTurn, [&] { equaliser.advanceOne(); });
      equalised += kTurn;
    } else {
      some.advance(kTurn, [] {});
      if (isBeside && mixed > 0) {
        equaliser.advance(kTurn);
        equalised += kTurn;
      }
    }
    others.advance(kTurn, [] {});
    mixWhole<Bytes>(job.sum, job.sources, job.gains, sourceCount, 2 * mixed, 2 * kTurn);
  }
  some.advance(frames - mixed, [] {});
  others.advance(frames - mixed, [] {});
  mixRest(job.sum, job.sources, job.gains, sourceCount, 2 * mixed, 2 * (frames - mixed));
  some.end();
  others.end();
  if (!job.equaliser) return;
  equaliser.advance(frames - equalised);
  equaliser.end(*job.equaliser);
}

template <std::size_t Bytes>
void limitAndMix(const MixJob& job, std::size_t frames) noexcept {
  if constexpr (Bytes > 32)
    if (isHalfEnough<Bytes>(job.sideCount > 0 ? job.sideCount : job.limitedCount))
      return limitAndMix<Bytes / 2>(job, frames);
  Limiters<Bytes, Cursors<Bytes>> inPlace(job.limiters, job.limited, job.limitedCount);
  if (job.sideCount > 0) {
    const bool isMixed = isSideTheSum<Bytes>(job);
    Limiters<Bytes, SideCursors<Bytes>> side(job, frames, isMixed);
    limitAndMix<Bytes>(job, frames, side, inPlace, isMixed ? 0 : job.sourceCount);
  } else {
    Limiters<Bytes, Cursors<Bytes>> none(nullptr, nullptr, 0);
    limitAndMix<Bytes>(job, frames, inPlace, none, job.sourceCount);
  }
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

constexpr float kInt16Scale = 32768;

// A frame at a time as one integer, the right sample in its upper half; each is moved into an upper half,
// where it has 2^16 times its value.
void stereoFromInt16(const std::uint8_t* __restrict block, float* __restrict left, float* __restrict right,
                     std::size_t frames) noexcept {
  constexpr float kScale = 0x1p-31f;
  for (std::size_t i = 0; i < frames; ++i) {
    std::uint32_t frame;
    std::memcpy(&frame, block + 4 * i, sizeof frame);
    left[i] = float(std::int32_t(frame << 16)) * kScale;
    right[i] = float(std::int32_t(frame & 0xffff0000)) * kScale;
  }
}

void addStereoFromInt16(const std::uint8_t* __restrict block, float gain, float* __restrict left,
                        float* __restrict right, std::size_t frames) noexcept {
  const float scale = gain * 0x1p-31f;
  for (std::size_t i = 0; i < frames; ++i) {
    std::uint32_t frame;
    std::memcpy(&frame, block + 4 * i, sizeof frame);
    left[i] += float(std::int32_t(frame << 16)) * scale;
    right[i] += float(std::int32_t(frame & 0xffff0000)) * scale;
  }
}

// Where a float's last bit stands for 1 its lowest bits are the rounded integer.
template <class Samples>
SONMERE_INLINE Samples roundedToInt16(Samples samples) {
  const Samples number = samples == samples ? samples : Samples{};
  Samples scaled = number * kInt16Scale;
  scaled = scaled > kInt16Scale - 1 ? Samples{} + (kInt16Scale - 1) : scaled;
  scaled = scaled < -kInt16Scale ? Samples{} - kInt16Scale : scaled;
  return scaled + 12582912.0f;  // 1.5 * 2^23
}

template <std::size_t Bytes>
void int16FromStereo(const float* left, const float* right, std::uint8_t* block,
                     std::size_t frames) noexcept {
  using W = Wide<Bytes>;
  const auto convert = [&](std::size_t at, std::size_t count) __attribute__((always_inline)) {
    typename W::Samples l{}, r{};
    std::memcpy(&l, left + at, count * sizeof(float));
    std::memcpy(&r, right + at, count * sizeof(float));
    const auto frame = ((typename W::Bits)roundedToInt16(l) & 0xffff) | (typename W::Bits)roundedToInt16(r)
                                                                            << 16;
    std::memcpy(block + 4 * at, &frame, count * sizeof(float));
  };
  std::size_t i = 0;
  for (; i + W::kSamples <= frames; i += W::kSamples) convert(i, W::kSamples);
  convert(i, frames - i);
}

// The set for registers of so many bytes.
template <std::size_t Bytes>
constexpr Kernels laneKernels(const char* target) {
  return {
      .target = target,
      .equalise = equalise<Bytes>,
      .equaliseSideBySide = equaliseSideBySide<Bytes>,
      .limit = limit,
      .limitAndMix = limitAndMix<Bytes>,
      .scale = scale,
      .addTo = addTo,
      .maxMagnitude = maxMagnitude,
      .sumOfSquares = sumOfSquares,
      .deinterleave = deinterleave,
      .interleave = interleave,
      .stereoFromInt16 = stereoFromInt16,
      .addStereoFromInt16 = addStereoFromInt16,
      .int16FromStereo = int16FromStereo<Bytes>,
  };
}

#undef SONMERE_INLINE

}  // namespace
}  // namespace sonmere
