#pragma once

// The search for extremes over registers of a given width. Only for the files that compile it for one
// instruction set each: all here has internal linkage, so that no code for a newer processor is shared.

#include <array>
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

// In this order of operands what is no number leaves `kept` as it is.
template <class V>
SONMERE_PEAK_INLINE V larger(const V& x, const V& kept) {
  return x > kept ? x : kept;
}
template <class V>
SONMERE_PEAK_INLINE V smaller(const V& x, const V& kept) {
  return x < kept ? x : kept;
}

// Works alike on each 16 bytes of a register, which most instructions that move lanes do not leave. `From`
// are the lanes taken, those from the second operand after those of the first.
template <int... From>
struct Within16 {
  static constexpr int kLanes = sizeof...(From);
  static constexpr int kFrom[] = {From...};

  template <class V>
  SONMERE_PEAK_INLINE static V of(const V& x, const V& y) {
    return of(x, y, std::make_index_sequence<sizeof(V) / 16 * kLanes>{});
  }
  template <class V>
  SONMERE_PEAK_INLINE static V of(const V& x) {
    return of(x, x);
  }

 private:
  template <class V, std::size_t... I>
  SONMERE_PEAK_INLINE static V of(const V& x, const V& y, std::index_sequence<I...>) {
    constexpr int n = sizeof...(I);
    return __builtin_shufflevector(
        x, y,
        (int(I) / kLanes * kLanes + kFrom[I % kLanes] % kLanes + (kFrom[I % kLanes] < kLanes ? 0 : n))...);
  }
};

// A register of `first` in the first half of each 16 bytes, and of `second` in the others.
template <class V, class T>
SONMERE_PEAK_INLINE V halves(T first, T second) {
  constexpr std::size_t lanes = 16 / sizeof(T);
  V result;
  for (std::size_t i = 0; i < sizeof(V) / sizeof(T); ++i) result[i] = i % lanes < lanes / 2 ? first : second;
  return result;
}

// Whole numbers: the first samples are the extremes so far.
struct WholeNumbers {
  static constexpr bool kIsFirstTaken = true;

  template <class V>
  SONMERE_PEAK_INLINE static V lowest(const V& first) {
    return first;
  }
  template <class V>
  SONMERE_PEAK_INLINE static V highest(const V& first) {
    return first;
  }
  template <class V>
  SONMERE_PEAK_INLINE static V turned(const V& x) {
    return ~x;
  }
};

// A format: how samples are loaded, and how in each 16 bytes four extremes, of which the first half of the
// register is turned upside down, become pairs of floats.
struct Int16Samples : WholeNumbers {
  using Sample = std::int16_t;
  static constexpr std::size_t kBytes = 2;
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::int16;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    std::memcpy(&x, at, Bytes);
    return x;
  }
  template <class V>
  SONMERE_PEAK_INLINE static auto pairs(const V& x) {
    const V turnedBack = x ^ halves<V>(Sample(-1), Sample(0));
    // Each sample in the upper half of 32 bits.
    const V spread = Within16<0, 0, 4, 4, 1, 1, 5, 5>::of(turnedBack);
    PeakVector<std::int32_t, sizeof(V)> values;
    std::memcpy(&values, &spread, sizeof values);
    return __builtin_convertvector(values >> 16, PeakVector<float, sizeof(V)>) * (1.0f / 32768);
  }
};

// Held in the upper three bytes of 32 bits. The lowest byte is anything: it decides only between equals.
struct Int24Samples : WholeNumbers {
  using Sample = std::int32_t;
  static constexpr std::size_t kBytes = 3;
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::int24;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    const auto spread = spreadOctets<Bytes>(at);
    std::memcpy(&x, &spread, sizeof x);
    return x;
  }
  template <class V>
  SONMERE_PEAK_INLINE static auto pairs(const V& x) {
    const V values = Within16<0, 2, 1, 3>::of(V(x ^ halves<V>(Sample(-1), Sample(0)))) >> 8;
    return __builtin_convertvector(values, PeakVector<float, sizeof(V)>) * (1.0f / 8388608);
  }

 private:
  // 12 bytes into each 16.
  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static auto spreadOctets(const std::uint8_t* at) {
    using Spread = Within16<0, 0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11>;
    PeakVector<std::uint8_t, 16> first;
    std::memcpy(&first, at, sizeof first);
    if constexpr (Bytes == 16) {
      return Spread::of(first);
    } else {
      PeakVector<std::uint8_t, 16> second;
      std::memcpy(&second, at + 12, sizeof second);
      return Spread::of(together(first, second, std::make_index_sequence<Bytes>{}));
    }
  }
  template <class Half, std::size_t... I>
  SONMERE_PEAK_INLINE static auto together(const Half& a, const Half& b, std::index_sequence<I...>) {
    return __builtin_shufflevector(a, b, int(I)...);
  }
};

struct Float32Samples {
  using Sample = float;
  static constexpr std::size_t kBytes = 4;
  static constexpr float kInfinity = std::numeric_limits<float>::infinity();
  static constexpr bool kIsFirstTaken = false;
  static constexpr PeakKernels::Find PeakKernels::*kPlain = &PeakKernels::float32;

  template <std::size_t Bytes>
  SONMERE_PEAK_INLINE static PeakVector<Sample, Bytes> load(const std::uint8_t* at) {
    PeakVector<Sample, Bytes> x;
    std::memcpy(&x, at, Bytes);
    return x;
  }
  template <class V>
  SONMERE_PEAK_INLINE static V lowest(const V&) {
    return V{} + kInfinity;
  }
  template <class V>
  SONMERE_PEAK_INLINE static V highest(const V&) {
    return V{} - kInfinity;
  }
  template <class V>
  SONMERE_PEAK_INLINE static V turned(const V& x) {
    return -x;
  }
  template <class V>
  SONMERE_PEAK_INLINE static auto pairs(const V& x) {
    const V values = Within16<0, 2, 1, 3>::of(V(x * halves<V>(-1.0f, 1.0f)));
    const V low = Within16<0, 0, 2, 2>::of(values), high = Within16<1, 1, 3, 3>::of(values);
    // The start values are still there where no number was found. Adding zero makes zeros positive.
    return (low <= high ? values : V{}) + 0.0f;
  }
};

// The smallest and largest samples of each channel, in any lanes of it.
template <class V>
struct Extremes {
  V low, high;
};

// Each half of a register onto the other: what is left of the first, then of the second.
template <class V, class Pick, std::size_t... I>
SONMERE_PEAK_INLINE V folded(const V& a, const V& b, const Pick& pick, std::index_sequence<I...>) {
  constexpr std::size_t n = sizeof...(I);
  return pick(__builtin_shufflevector(a, b, int(I < n / 2 ? I : n + I)...),
              __builtin_shufflevector(a, b, int(I < n / 2 ? I + n / 2 : n + I - n / 2)...));
}

// In each 16 bytes the extremes of a bin become one register of the smallest and the largest values together,
// those turned upside down, so that every further step is one operation for both.
template <class Format, std::size_t Channels, class V>
SONMERE_PEAK_INLINE auto pairsOf(const Extremes<V>& found) {
  const V turned = Format::turned(found.low);
  if constexpr (sizeof(typename Format::Sample) == 2) {
    V both = larger(Within16<0, 1, 2, 3, 8, 9, 10, 11>::of(turned, found.high),
                    Within16<4, 5, 6, 7, 12, 13, 14, 15>::of(turned, found.high));
    both = larger(Within16<2, 3, 0, 1, 6, 7, 4, 5>::of(both), both);
    if constexpr (Channels == 1) both = larger(Within16<1, 0, 3, 2, 5, 4, 7, 6>::of(both), both);
    return Format::pairs(both);
  } else {
    V both =
        larger(Within16<0, 1, 4, 5>::of(turned, found.high), Within16<2, 3, 6, 7>::of(turned, found.high));
    if constexpr (Channels == 1) both = larger(Within16<1, 0, 3, 2>::of(both), both);
    return Format::pairs(both);
  }
}

// The extremes of bins of `count` samples that are `step` bytes apart, side by side.
template <class Format, std::size_t Bytes, std::size_t... Bin>
SONMERE_PEAK_INLINE auto extremesOf(const std::uint8_t* samples, std::size_t step, std::size_t count,
                                    std::index_sequence<Bin...>) {
  using V = PeakVector<typename Format::Sample, Bytes>;
  constexpr std::size_t kLanes = PeakRegister<typename Format::Sample, Bytes>::kLanes;
  const auto load = [&](std::size_t bin, std::size_t at) {
    return Format::template load<Bytes>(samples + bin * step + at * Format::kBytes);
  };
  const V first[] = {load(Bin, 0)...};
  std::array<Extremes<V>, sizeof...(Bin)> found{
      Extremes<V>{Format::lowest(first[Bin]), Format::highest(first[Bin])}...};
  const auto take = [](Extremes<V>& bin, const V& x) {
    bin.low = smaller(x, bin.low);
    bin.high = larger(x, bin.high);
  };
  if constexpr (!Format::kIsFirstTaken) (take(found[Bin], first[Bin]), ...);
  for (std::size_t i = kLanes; i + kLanes <= count; i += kLanes) (take(found[Bin], load(Bin, i)), ...);
  // The rest together with samples that were looked at already, each in the lane of its channel.
  if (count % kLanes != 0) (take(found[Bin], load(Bin, count - kLanes)), ...);
  return found;
}

// Pairs of a 32-byte register, which what works within 16 bytes has left in the order 0, 2, 1, 3.
template <class V>
SONMERE_PEAK_INLINE auto inOrder(const V& x) {
  PeakVector<std::int64_t, sizeof(V)> pairs;
  std::memcpy(&pairs, &x, sizeof pairs);
  return __builtin_shufflevector(pairs, pairs, 0, 2, 1, 3);
}

template <class Format, std::size_t Channels, std::size_t Bytes>
void findIn(const std::uint8_t* samples, std::size_t frames, std::size_t bins, float* const* pairs) noexcept {
  using Sample = typename Format::Sample;
  constexpr std::size_t kLanes = PeakRegister<Sample, Bytes>::kLanes;
  const std::size_t count = frames * Channels, step = count * Format::kBytes;
  if constexpr (Bytes == 32) {
    // Two bins at a time.
    constexpr auto kAll = std::make_index_sequence<kLanes>{};
    std::size_t bin = 0;
    for (; count >= kLanes && bin + 2 <= bins; bin += 2, samples += 2 * step) {
      const auto [a, b] = extremesOf<Format, Bytes>(samples, step, count, std::index_sequence<0, 1>{});
      using V = PeakVector<Sample, Bytes>;
      const Extremes<V> both{folded(a.low, b.low, smaller<V>, kAll), folded(a.high, b.high, larger<V>, kAll)};
      const auto found = inOrder(pairsOf<Format, Channels>(both));
      for (std::size_t channel = 0; channel < Channels; ++channel)
        std::memcpy(pairs[channel] + 2 * bin, reinterpret_cast<const char*>(&found) + 16 * channel, 16);
    }
    float* rest[Channels];
    for (std::size_t channel = 0; channel < Channels; ++channel) rest[channel] = pairs[channel] + 2 * bin;
    findIn<Format, Channels, 16>(samples, frames, bins - bin, rest);
  } else if (count < kLanes) {
    (kPlainPeakKernels.*Format::kPlain)(samples, Channels, frames, bins, pairs);
  } else {
    for (std::size_t bin = 0; bin < bins; ++bin, samples += step) {
      const auto [one] = extremesOf<Format, Bytes>(samples, step, count, std::index_sequence<0>{});
      const auto found = pairsOf<Format, Channels>(one);
      for (std::size_t channel = 0; channel < Channels; ++channel)
        std::memcpy(pairs[channel] + 2 * bin, reinterpret_cast<const char*>(&found) + 8 * channel, 8);
    }
  }
}

template <class Format, std::size_t Bytes>
void find(const std::uint8_t* samples, std::size_t channels, std::size_t frames, std::size_t bins,
          float* const* pairs) noexcept {
  if (channels == 1) return findIn<Format, 1, Bytes>(samples, frames, bins, pairs);
  if (channels == 2) return findIn<Format, 2, Bytes>(samples, frames, bins, pairs);
  (kPlainPeakKernels.*Format::kPlain)(samples, channels, frames, bins, pairs);
}

template <std::size_t Bytes>
void findSignedPeaks(const float* pairs, std::size_t bins, float* peaks) noexcept {
  using Floats = PeakVector<float, Bytes>;
  constexpr std::size_t n = PeakRegister<float, Bytes>::kLanes;
  std::size_t bin = 0;
  for (; bin + n <= bins; bin += n) {
    Floats a, b;
    std::memcpy(&a, pairs + 2 * bin, Bytes);
    std::memcpy(&b, pairs + 2 * bin + n, Bytes);
    const Floats low = Within16<0, 2, 4, 6>::of(a, b), high = Within16<1, 3, 5, 7>::of(a, b);
    // Low is not above high, so this says which is farther from zero.
    const Floats peak = -low <= high ? high : low;
    if constexpr (Bytes == 32) {
      const auto ordered = inOrder(peak);
      std::memcpy(peaks + bin, &ordered, Bytes);
    } else {
      std::memcpy(peaks + bin, &peak, Bytes);
    }
  }
  kPlainPeakKernels.signedPeaks(pairs + 2 * bin, bins - bin, peaks + bin);
}

template <std::size_t Bytes>
constexpr PeakKernels peakLanes(const char* target) {
  return {target, find<Int16Samples, Bytes>, find<Int24Samples, Bytes>, find<Float32Samples, Bytes>,
          findSignedPeaks<Bytes>};
}

}  // namespace
}  // namespace sonmere
