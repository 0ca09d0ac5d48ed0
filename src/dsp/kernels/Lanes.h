#pragma once

// Streams side by side in a register of a given width.
// Only for the files that compile the kernels for one instruction set each: all here has internal linkage,
// and nothing from elsewhere is called, so that no code for a newer processor is shared with the rest of the
// program.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "dsp/kernels/Kernels.h"

#define SONMERE_INLINE [[gnu::always_inline]] inline

namespace sonmere {
namespace {

// A register of stereo frames side by side: as samples, as their bits, and as frames that only move.
template <std::size_t Bytes>
struct Wide {
  typedef float Samples __attribute__((vector_size(Bytes)));
  typedef std::int64_t Frames __attribute__((vector_size(Bytes)));
  typedef std::int32_t Bits __attribute__((vector_size(Bytes)));
  static constexpr std::size_t kSamples = Bytes / sizeof(float);
  static constexpr std::size_t kStreams = Bytes / sizeof(std::int64_t);
  using Streams = std::make_index_sequence<kStreams>;
};

// One step of a transposition by blocks: exchanges the blocks of Span frames off the diagonal.
template <std::size_t Span, class Frames, std::size_t... K>
SONMERE_INLINE void exchange(Frames& a, Frames& b, std::index_sequence<K...>) {
  constexpr std::size_t n = sizeof...(K);
  const Frames upper = __builtin_shufflevector(a, b, int(K & Span ? n + K - Span : K)...);
  const Frames lower = __builtin_shufflevector(a, b, int(K & Span ? n + K : K + Span)...);
  a = upper;
  b = lower;
}

// Some consecutive frames of all streams: a row for each frame, or before transposition for each stream. With
// half as many frames a row holds two streams, one in each half.
template <std::size_t Bytes, std::size_t Frames = Wide<Bytes>::kStreams>
struct Square {
  using W = Wide<Bytes>;
  using Rows = std::make_index_sequence<Frames>;
  typename W::Frames row[Frames];

  // Each stream's from its block's sample `offset` on.
  SONMERE_INLINE void load(const float* const* blocks, std::size_t offset) { load(blocks, offset, Rows{}); }
  // The first stream is written last.
  SONMERE_INLINE void store(float* const* blocks, std::size_t offset) const { store(blocks, offset, Rows{}); }
  // Rows that lie one behind the other.
  SONMERE_INLINE void loadRows(const float* at) { loadRows(at, Rows{}); }
  SONMERE_INLINE void transpose() {
    if constexpr (Frames > 1) exchangeAll<1>(Rows{});
    if constexpr (Frames > 2) exchangeAll<2>(Rows{});
    if constexpr (Frames > 4) exchangeAll<4>(Rows{});
  }

 private:
  static_assert(Frames == W::kStreams || 2 * Frames == W::kStreams);

  template <std::size_t... S>
  SONMERE_INLINE void load(const float* const* blocks, std::size_t offset, std::index_sequence<S...>) {
    if constexpr (Frames == W::kStreams)
      (std::memcpy(&row[S], blocks[S] + offset, Bytes), ...);
    else
      ((row[S] = halves(blocks[S] + offset, blocks[S + Frames] + offset, typename W::Streams{})), ...);
  }
  template <std::size_t... K>
  SONMERE_INLINE static typename W::Frames halves(const float* a, const float* b, std::index_sequence<K...>) {
    typename Wide<Bytes / 2>::Frames lower, upper;
    std::memcpy(&lower, a, sizeof lower);
    std::memcpy(&upper, b, sizeof upper);
    return __builtin_shufflevector(lower, upper, int(K)...);
  }
  template <std::size_t... S>
  SONMERE_INLINE void loadRows(const float* at, std::index_sequence<S...>) {
    (std::memcpy(&row[S], at + S * W::kSamples, Bytes), ...);
  }
  template <std::size_t... S>
  SONMERE_INLINE void store(float* const* blocks, std::size_t offset, std::index_sequence<S...>) const {
    static_assert(Frames == W::kStreams);
    (std::memcpy(blocks[Frames - 1 - S] + offset, &row[Frames - 1 - S], Bytes), ...);
  }
  template <std::size_t Span, std::size_t... S>
  SONMERE_INLINE void exchangeAll(std::index_sequence<S...>) {
    (exchangeFrom<Span, S>(), ...);
  }
  template <std::size_t Span, std::size_t S>
  SONMERE_INLINE void exchangeFrom() {
    if constexpr ((S & Span) == 0) exchange<Span>(row[S], row[S + Span], typename W::Streams{});
  }
};

// Where the streams of one register stand. A lane without a stream reads the first one's samples, and what it
// writes there is written over by the first one.
template <std::size_t Bytes>
struct Cursors {
  using W = Wide<Bytes>;
  float* blocks[W::kStreams];
  std::size_t offset = 0;  // samples

  SONMERE_INLINE void begin(float* const* streamBlocks, std::size_t streams) {
    for (std::size_t s = 0; s < W::kStreams; ++s) blocks[s] = streamBlocks[s < streams ? s : 0];
  }

  // The next frames of all streams, a row each; then what has become of them.
  template <std::size_t Frames>
  SONMERE_INLINE void begin(Square<Bytes, Frames>& square) const {
    square.load(blocks, offset);
    square.transpose();
  }
  SONMERE_INLINE void end(Square<Bytes>& square) {
    square.transpose();
    square.store(blocks, offset);
    offset += 2 * W::kStreams;
  }
  // The same of a single frame.
  SONMERE_INLINE typename W::Samples beginFrame() const {
    float frame[W::kSamples];
    for (std::size_t s = 0; s < W::kStreams; ++s) std::memcpy(frame + 2 * s, blocks[s] + offset, 8);
    typename W::Samples x;
    std::memcpy(&x, frame, Bytes);
    return x;
  }
  SONMERE_INLINE void endFrame(typename W::Samples x) {
    float frame[W::kSamples];
    std::memcpy(frame, &x, Bytes);
    for (std::size_t s = W::kStreams; s-- > 0;) std::memcpy(blocks[s] + offset, frame + 2 * s, 8);
    offset += 2;
  }
};

// The same for streams that lie side by side, and go back to their blocks. Those of a whole register may be
// added to a sum on the way, while they are at hand.
template <std::size_t Bytes>
struct SideCursors {
  using W = Wide<Bytes>;
  const float* side = nullptr;
  Cursors<Bytes> blocks;
  float* sum = nullptr;  // or none
  const float* gains = nullptr;

  SONMERE_INLINE void begin(const float* from, float* const* to, std::size_t streams) {
    side = from;
    blocks.begin(to, streams);
  }
  SONMERE_INLINE void begin(Square<Bytes>& square) const { square.loadRows(side); }
  SONMERE_INLINE void end(Square<Bytes>& square) {
    side += W::kStreams * W::kSamples;
    const std::size_t at = blocks.offset;
    blocks.end(square);
    if (sum) addTo(sum + at, square, typename W::Streams{});
  }
  SONMERE_INLINE typename W::Samples beginFrame() const {
    typename W::Samples x;
    std::memcpy(&x, side, Bytes);
    return x;
  }
  SONMERE_INLINE void endFrame(typename W::Samples x) {
    side += W::kSamples;
    const std::size_t at = blocks.offset;
    blocks.endFrame(x);
    for (std::size_t s = 0; sum && s < W::kStreams; ++s)
      for (std::size_t channel = 0; channel < 2; ++channel)
        sum[at + channel] = sum[at + channel] + x[2 * s + channel] * gains[s];
  }

 private:
  template <std::size_t... S>
  SONMERE_INLINE void addTo(float* target, const Square<Bytes>& square, std::index_sequence<S...>) const {
    typename W::Samples total;
    std::memcpy(&total, target, Bytes);
    ((total = total + (typename W::Samples)square.row[S] * gains[S]), ...);
    std::memcpy(target, &total, Bytes);
  }
};

// Applies `step` to the samples of all streams, frame by frame, through the next `frames` frames.
template <std::size_t Bytes, class Cursors, class Step>
SONMERE_INLINE void runThrough(Cursors& cursors, std::size_t frames, Step&& step) {
  using W = Wide<Bytes>;
  for (; frames >= W::kStreams; frames -= W::kStreams) {
    Square<Bytes> square;
    cursors.begin(square);
#pragma GCC unroll 8
    for (std::size_t k = 0; k < W::kStreams; ++k)
      square.row[k] = (typename W::Frames)step((typename W::Samples)square.row[k]);
    cursors.end(square);
  }
  for (; frames > 0; --frames) cursors.endFrame(step(cursors.beginFrame()));
}

// Hands the samples to `step` instead, each with a number: that of its frame, of which only 0 and 1 tell
// anything. Wide registers take half as many frames at a time: a whole square of them leaves too few
// registers.
template <std::size_t Bytes, class Step>
SONMERE_INLINE void readThrough(Cursors<Bytes>& cursors, std::size_t frames, Step&& step) {
  using W = Wide<Bytes>;
  constexpr std::size_t n = Bytes > 32 ? W::kStreams / 2 : W::kStreams;
  std::size_t frame = 0;
  const auto readSquare = [&](std::size_t number) __attribute__((always_inline)) {
    Square<Bytes, n> square;
    cursors.begin(square);
#pragma GCC unroll 8
    for (std::size_t k = 0; k < n; ++k) step((typename W::Samples)square.row[k], number + k);
    cursors.offset += 2 * n;
    frame += n;
  };
  if (frames >= n) readSquare(0);
  while (frame + n <= frames) readSquare(2);
  for (; frame < frames; ++frame, cursors.offset += 2) step(cursors.beginFrame(), frame);
}

// Two registers frame by frame in turn, so that one works while the other waits for its last result.
template <std::size_t Bytes, class Step>
SONMERE_INLINE void readThroughBoth(Cursors<Bytes>& first, Cursors<Bytes>& second, std::size_t frames,
                                    Step&& step) {
  using W = Wide<Bytes>;
  for (; frames >= W::kStreams; frames -= W::kStreams) {
    Square<Bytes> a, b;
    first.begin(a);
    second.begin(b);
#pragma GCC unroll 8
    for (std::size_t k = 0; k < W::kStreams; ++k)
      step((typename W::Samples)a.row[k], (typename W::Samples)b.row[k]);
    first.offset += 2 * W::kStreams;
    second.offset += 2 * W::kStreams;
  }
  for (; frames > 0; --frames, first.offset += 2, second.offset += 2)
    step(first.beginFrame(), second.beginFrame());
}

// One value of each stream, in both of its lanes.
template <std::size_t Bytes, class Value>
SONMERE_INLINE typename Wide<Bytes>::Samples inBothLanes(std::size_t streams, float otherwise,
                                                         Value&& value) {
  float values[Wide<Bytes>::kSamples];
  for (std::size_t s = 0; s < Wide<Bytes>::kStreams; ++s)
    values[2 * s] = values[2 * s + 1] = s < streams ? value(s) : otherwise;
  typename Wide<Bytes>::Samples result;
  std::memcpy(&result, values, Bytes);
  return result;
}

}  // namespace
}  // namespace sonmere
