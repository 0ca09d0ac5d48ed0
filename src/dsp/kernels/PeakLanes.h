#pragma once

// The search for extremes over registers of a given width. Only for the files that compile it for one
// instruction set each: all here has internal linkage, so that no code for a newer processor is shared.

#include <cstring>
#include <limits>
#include <utility>

#include "dsp/kernels/PeakKernelTargets.h"

namespace sonmere {
namespace {

#define SONMERE_PEAK_INLINE [[gnu::always_inline]] inline

template <class T, std::size_t Bytes>
struct PeakRegister {
  typedef T Lanes __attribute__((vector_size(Bytes)));
  static constexpr std::size_t kLanes = Bytes / sizeof(T);
};
template <class T, std::size_t Bytes>
using PeakVector = typename PeakRegister<T, Bytes>::Lanes;
using Floats4 = PeakVector<float, 16>;
using Ints4 = PeakVector<std::int32_t, 16>;
using Shorts8 = PeakVector<std::int16_t, 16>;

// In this order of operands what is no number leaves `kept` as it is.
template <class V>
SONMERE_PEAK_INLINE V larger(const V& x, const V& kept) {
  return x > kept ? x : kept;
}
template <class V>
SONMERE_PEAK_INLINE V smaller(const V& x, const V& kept) {
  return x < kept ? x : kept;
}

// A format: how samples are loaded, and how four extremes, of which the first half of the register is turned
// upside down, become pairs of floats.
struct Int16Samples {
  using Sample = std::int16_t;
  static constexpr std::size_t kBytes = 2;
  static constexpr Sample kLowest = INT16_MIN, kHighest = INT16_MAX;
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::int16;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    std::memcpy(&x, at, Bytes);
    return x;
  }
  SONMERE_PEAK_INLINE static Shorts8 turned(const Shorts8& x) { return ~x; }
  SONMERE_PEAK_INLINE static Floats4 pairs(const Shorts8& x) {
    const Shorts8 turnedBack = x ^ Shorts8 { -1, -1, -1, -1, 0, 0, 0, 0 };
    // Each sample in the upper half of 32 bits.
    const Shorts8 spread = __builtin_shufflevector(turnedBack, turnedBack, 0, 0, 4, 4, 1, 1, 5, 5);
    Ints4 values;
    std::memcpy(&values, &spread, sizeof values);
    return __builtin_convertvector(values >> 16, Floats4) * (1.0f / 32768);
  }
};

// Held in the upper three bytes of 32 bits. The lowest byte is anything: it decides only between equals.
struct Int24Samples {
  using Sample = std::int32_t;
  static constexpr std::size_t kBytes = 3;
  static constexpr Sample kLowest = INT32_MIN, kHighest = INT32_MAX;
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::int24;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    const auto spread = spreadOctets<Bytes>(at, std::make_index_sequence<Bytes>{});
    std::memcpy(&x, &spread, sizeof x);
    return x;
  }
  SONMERE_PEAK_INLINE static Ints4 turned(const Ints4& x) { return ~x; }
  SONMERE_PEAK_INLINE static Floats4 pairs(const Ints4& x) {
    const Ints4 turnedBack = x ^ Ints4 { -1, -1, 0, 0 };
    const Ints4 values = __builtin_shufflevector(turnedBack, turnedBack, 0, 2, 1, 3) >> 8;
    return __builtin_convertvector(values, Floats4) * (1.0f / 8388608);
  }

 private:
  // 12 bytes into each 16; instructions move bytes within these.
  template <std::size_t Bytes, std::size_t... I>
  SONMERE_PEAK_INLINE static auto spreadOctets(const std::uint8_t* at, std::index_sequence<I...> all) {
    PeakVector<std::uint8_t, 16> first;
    std::memcpy(&first, at, sizeof first);
    if constexpr (Bytes == 16) {
      return __builtin_shufflevector(first, first, (int(I) - int(I) / 4 - (I % 4 != 0))...);
    } else {
      PeakVector<std::uint8_t, 16> second;
      std::memcpy(&second, at + 12, sizeof second);
      const auto both = __builtin_shufflevector(first, second, int(I)...);
      return withinHalves(both, all);
    }
  }
  template <class Octets, std::size_t... I>
  SONMERE_PEAK_INLINE static Octets withinHalves(const Octets& x, std::index_sequence<I...>) {
    return __builtin_shufflevector(x, x,
                                   (int(I) / 16 * 16 + int(I) % 16 - int(I) % 16 / 4 - (I % 4 != 0))...);
  }
};

struct Float32Samples {
  using Sample = float;
  static constexpr std::size_t kBytes = 4;
  static constexpr Sample kLowest = -std::numeric_limits<float>::infinity(),
                          kHighest = std::numeric_limits<float>::infinity();
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::float32;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    std::memcpy(&x, at, Bytes);
    return x;
  }
  SONMERE_PEAK_INLINE static Floats4 turned(const Floats4& x) { return -x; }
  SONMERE_PEAK_INLINE static Floats4 pairs(const Floats4& x) {
    const Floats4 turnedBack = x * Floats4{-1, -1, 1, 1};
    const Floats4 values = __builtin_shufflevector(turnedBack, turnedBack, 0, 2, 1, 3);
    const Floats4 low = __builtin_shufflevector(values, values, 0, 0, 2, 2);
    const Floats4 high = __builtin_shufflevector(values, values, 1, 1, 3, 3);
    // The start values are still there where no number was found. Adding zero makes zeros positive.
    return (low <= high ? values : Floats4{}) + 0.0f;
  }
};

template <class V, std::size_t... I>
SONMERE_PEAK_INLINE auto lowerHalf(const V& x, std::index_sequence<I...>) {
  return __builtin_shufflevector(x, x, int(I)...);
}
template <class V, std::size_t... I>
SONMERE_PEAK_INLINE auto upperHalf(const V& x, std::index_sequence<I...>) {
  return __builtin_shufflevector(x, x, int(I + sizeof...(I))...);
}
// The lane I of the result is the lane I ^ Step.
template <std::size_t Step, class V, std::size_t... I>
SONMERE_PEAK_INLINE V exchanged(const V& x, std::index_sequence<I...>) {
  return __builtin_shufflevector(x, x, int(I ^ Step)...);
}

template <class T, std::size_t Bytes, class Pick>
SONMERE_PEAK_INLINE PeakVector<T, 16> foldedTo16(const PeakVector<T, Bytes>& x, const Pick& pick) {
  if constexpr (Bytes == 16) {
    return x;
  } else {
    using Half = std::make_index_sequence<Bytes / sizeof(T) / 2>;
    return foldedTo16<T, Bytes / 2>(pick(upperHalf(x, Half{}), lowerHalf(x, Half{})), pick);
  }
}

// One register of the smallest and the largest values together, those turned upside down, so that every
// further step is one operation for both.
template <class Format, std::size_t Channels>
SONMERE_PEAK_INLINE Floats4 pairsOf(const PeakVector<typename Format::Sample, 16>& low,
                                    const PeakVector<typename Format::Sample, 16>& high) {
  constexpr std::size_t kLanes = 16 / sizeof(typename Format::Sample);
  const auto turned = Format::turned(low);
  auto both = [&]<std::size_t... I>(std::index_sequence<I...>) {
    constexpr std::size_t half = kLanes / 2;
    return larger(__builtin_shufflevector(turned, high, int(I < half ? I : kLanes + I - half)...),
                  __builtin_shufflevector(turned, high, int(I < half ? I + half : kLanes + I)...));
  }
  (std::make_index_sequence<kLanes>{});
  using All = std::make_index_sequence<kLanes>;
  if constexpr (kLanes == 8) both = larger(exchanged<2>(both, All{}), both);
  if constexpr (Channels == 1) both = larger(exchanged<1>(both, All{}), both);
  return Format::pairs(both);
}

template <class Format, std::size_t Channels, std::size_t Bytes>
void findIn(const std::uint8_t* samples, std::size_t frames, std::size_t bins, float* const* pairs) noexcept {
  using Sample = typename Format::Sample;
  using V = PeakVector<Sample, Bytes>;
  constexpr std::size_t kLanes = Bytes / sizeof(Sample);
  const std::size_t count = frames * Channels;
  if (count < kLanes) {
    if constexpr (Bytes > 16)
      findIn<Format, Channels, Bytes / 2>(samples, frames, bins, pairs);
    else
      (kPlainPeakKernels.*Format::kPlain)(samples, Channels, frames, bins, pairs);
    return;
  }
  for (std::size_t bin = 0; bin < bins; ++bin, samples += count * Format::kBytes) {
    V low = V{} + Format::kHighest, high = V{} + Format::kLowest;
    const auto take = [&](std::size_t at) {
      const V x = Format::template load<Bytes>(samples + at * Format::kBytes);
      low = smaller(x, low);
      high = larger(x, high);
    };
    for (std::size_t i = 0; i + kLanes <= count; i += kLanes) take(i);
    // The rest together with samples that were looked at already, each in the lane of its channel.
    if (count % kLanes != 0) take(count - kLanes);
    const auto low16 =
        foldedTo16<Sample, Bytes>(low, [](const auto& a, const auto& b) { return smaller(a, b); });
    const auto high16 =
        foldedTo16<Sample, Bytes>(high, [](const auto& a, const auto& b) { return larger(a, b); });
    const Floats4 found = pairsOf<Format, Channels>(low16, high16);
    std::memcpy(pairs[0] + 2 * bin, &found, 8);
    if constexpr (Channels == 2)
      std::memcpy(pairs[1] + 2 * bin, reinterpret_cast<const char*>(&found) + 8, 8);
  }
}

template <class Format, std::size_t Bytes>
void find(const std::uint8_t* samples, std::size_t channels, std::size_t frames, std::size_t bins,
          float* const* pairs) noexcept {
  if (channels == 1) return findIn<Format, 1, Bytes>(samples, frames, bins, pairs);
  if (channels == 2) return findIn<Format, 2, Bytes>(samples, frames, bins, pairs);
  (kPlainPeakKernels.*Format::kPlain)(samples, channels, frames, bins, pairs);
}

void findSignedPeaks(const float* pairs, std::size_t bins, float* peaks) noexcept {
  std::size_t bin = 0;
  for (; bin + 4 <= bins; bin += 4) {
    Floats4 a, b;
    std::memcpy(&a, pairs + 2 * bin, sizeof a);
    std::memcpy(&b, pairs + 2 * bin + 4, sizeof b);
    const Floats4 low = __builtin_shufflevector(a, b, 0, 2, 4, 6);
    const Floats4 high = __builtin_shufflevector(a, b, 1, 3, 5, 7);
    // Low is not above high, so this says which is farther from zero.
    const Floats4 peak = -low <= high ? high : low;
    std::memcpy(peaks + bin, &peak, sizeof peak);
  }
  kPlainPeakKernels.signedPeaks(pairs + 2 * bin, bins - bin, peaks + bin);
}

template <std::size_t Bytes>
constexpr PeakKernels peakLanes(const char* target) {
  return {target, find<Int16Samples, Bytes>, find<Int24Samples, Bytes>, find<Float32Samples, Bytes>,
          findSignedPeaks};
}

}  // namespace
}  // namespace sonmere
