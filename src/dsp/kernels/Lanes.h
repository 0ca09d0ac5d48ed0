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

// A register of stereo frames side by side: as samples, and as frames that only move.
template <std::size_t Bytes>
struct Wide {
  typedef float Samples __attribute__((vector_size(Bytes)));
  typedef std::int64_t Frames __attribute__((vector_size(Bytes)));
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

// As many consecutive frames of as many streams: a row for each stream, or after transposition for each
// frame.
template <std::size_t Bytes>
struct Square {
  using W = Wide<Bytes>;
  typename W::Frames row[W::kStreams];

  SONMERE_INLINE void load(float* const* at) { load(at, typename W::Streams{}); }
  SONMERE_INLINE void store(float* const* at) const { store(at, typename W::Streams{}); }
  SONMERE_INLINE void transpose() {
    if constexpr (W::kStreams > 1) exchangeAll<1>(typename W::Streams{});
    if constexpr (W::kStreams > 2) exchangeAll<2>(typename W::Streams{});
    if constexpr (W::kStreams > 4) exchangeAll<4>(typename W::Streams{});
  }
  template <class Step>
  SONMERE_INLINE void forEachRow(Step&& step) {
    forEachRow(step, typename W::Streams{});
  }
  template <class Step>
  SONMERE_INLINE void forEachRowWith(Square& other, Step&& step) {
    forEachRowWith(other, step, typename W::Streams{});
  }

 private:
  template <std::size_t... S>
  SONMERE_INLINE void load(float* const* at, std::index_sequence<S...>) {
    (std::memcpy(&row[S], at[S], Bytes), ...);
  }
  template <std::size_t... S>
  SONMERE_INLINE void store(float* const* at, std::index_sequence<S...>) const {
    (std::memcpy(at[S], &row[S], Bytes), ...);
  }
  template <std::size_t Span, std::size_t... S>
  SONMERE_INLINE void exchangeAll(std::index_sequence<S...>) {
    (exchangeFrom<Span, S>(), ...);
  }
  template <std::size_t Span, std::size_t S>
  SONMERE_INLINE void exchangeFrom() {
    if constexpr ((S & Span) == 0) exchange<Span>(row[S], row[S + Span], typename W::Streams{});
  }
  template <class Step, std::size_t... S>
  SONMERE_INLINE void forEachRow(Step& step, std::index_sequence<S...>) {
    (step(row[S]), ...);
  }
  template <class Step, std::size_t... S>
  SONMERE_INLINE void forEachRowWith(Square& other, Step& step, std::index_sequence<S...>) {
    (step(row[S], other.row[S]), ...);
  }
};

// Where the streams of one register stand. A lane without a stream goes over a spare frame or two again and
// again.
template <std::size_t Bytes>
struct Cursors {
  using W = Wide<Bytes>;
  float* at[W::kStreams];
  std::size_t stride[W::kStreams];
  float spare[W::kSamples] = {};

  SONMERE_INLINE void begin(float* const* blocks, std::size_t streams) {
    for (std::size_t s = 0; s < W::kStreams; ++s) {
      at[s] = s < streams ? blocks[s] : spare;
      stride[s] = s < streams ? 2 : 0;
    }
  }
  SONMERE_INLINE void advance(std::size_t frames) {
    for (std::size_t s = 0; s < W::kStreams; ++s) at[s] += stride[s] * frames;
  }

  // Applies `step` to the samples of all streams, frame by frame, through the next `frames` frames.
  template <class Step>
  SONMERE_INLINE void run(std::size_t frames, Step&& step) {
    for (; frames >= W::kStreams; frames -= W::kStreams) {
      Square<Bytes> square;
      begin(square);
      square.forEachRow([&](auto& row) { row = (typename W::Frames)step((typename W::Samples)row); });
      end(square);
    }
    for (; frames > 0; --frames) runFrame(step);
  }

  SONMERE_INLINE void begin(Square<Bytes>& square) const {
    square.load(at);
    square.transpose();
  }
  SONMERE_INLINE void end(Square<Bytes>& square) {
    square.transpose();
    square.store(at);
    advance(W::kStreams);
  }
  template <class Step>
  SONMERE_INLINE void runFrame(Step&& step) {
    float frame[W::kSamples];
    for (std::size_t s = 0; s < W::kStreams; ++s) std::memcpy(frame + 2 * s, at[s], 8);
    typename W::Samples x;
    std::memcpy(&x, frame, Bytes);
    x = step(x);
    std::memcpy(frame, &x, Bytes);
    for (std::size_t s = 0; s < W::kStreams; ++s) std::memcpy(at[s], frame + 2 * s, 8);
    advance(1);
  }
};

// Two registers frame by frame in turn, so that one works while the other waits for its last result.
template <std::size_t Bytes, class FirstStep, class SecondStep>
SONMERE_INLINE void runBoth(Cursors<Bytes>& first, Cursors<Bytes>& second, std::size_t frames,
                            FirstStep&& firstStep, SecondStep&& secondStep) {
  using W = Wide<Bytes>;
  for (; frames >= W::kStreams; frames -= W::kStreams) {
    Square<Bytes> a, b;
    first.begin(a);
    second.begin(b);
    a.forEachRowWith(b, [&](auto& x, auto& y) {
      x = (typename W::Frames)firstStep((typename W::Samples)x);
      y = (typename W::Frames)secondStep((typename W::Samples)y);
    });
    first.end(a);
    second.end(b);
  }
  for (; frames > 0; --frames) {
    first.runFrame(firstStep);
    second.runFrame(secondStep);
  }
}

// The values of several streams side by side, each in the two lanes of its stream, as registers load them.
template <std::size_t Bytes, std::size_t Rows>
struct Packed {
  using W = Wide<Bytes>;
  alignas(Bytes) float values[Rows][W::kSamples];

  SONMERE_INLINE void set(std::size_t row, std::size_t stream, float left, float right) {
    values[row][2 * stream] = left;
    values[row][2 * stream + 1] = right;
  }
  SONMERE_INLINE typename W::Samples load(std::size_t row) const {
    typename W::Samples result;
    std::memcpy(&result, values[row], Bytes);
    return result;
  }
  SONMERE_INLINE void store(std::size_t row, typename W::Samples samples) {
    std::memcpy(values[row], &samples, Bytes);
  }
};

}  // namespace
}  // namespace sonmere
