#pragma once

// The equaliser over registers of a given width.
// Only for the files that compile the kernels for one instruction set each: all here has internal linkage,
// and nothing from elsewhere is called, so that no code for a newer processor is shared with the rest of the
// program.

#include <type_traits>

#include "dsp/kernels/Lanes.h"

namespace sonmere {
namespace {

// One section of the equaliser in every lane. A value of its own, so that all of it stays in registers.
template <class Samples>
struct Section {
  Samples b0{}, b1{}, b2{}, a1{}, a2{}, z1{}, z2{};

  SONMERE_INLINE Samples step(Samples x) {
    const Samples y = b0 * x + z1;
    z1 = (b1 * x - a1 * y) + z2;
    z2 = b2 * x - a2 * y;
    return y;
  }
};

// The three sections of up to a register's streams. A lane without a stream stays silent.
template <std::size_t Bytes>
struct Cascade {
  using W = Wide<Bytes>;
  using Samples = typename W::Samples;
  Section<Samples> highPass, bell, lowPass;

  SONMERE_INLINE void load(const EqualiserLane* lanes, std::size_t streams) {
    const Packed<Bytes, kRows> packed = pack(lanes, streams);
    highPass = section(packed, 0);
    bell = section(packed, 1);
    lowPass = section(packed, 2);
  }
  SONMERE_INLINE Samples step(Samples x) { return lowPass.step(bell.step(highPass.step(x))); }
  SONMERE_INLINE void save(EqualiserLane* lanes, std::size_t streams) const {
    Packed<Bytes, 6> z;
    z.store(0, highPass.z1);
    z.store(1, highPass.z2);
    z.store(2, bell.z1);
    z.store(3, bell.z2);
    z.store(4, lowPass.z1);
    z.store(5, lowPass.z2);
    for (std::size_t s = 0; s < streams; ++s)
      for (std::size_t row = 0; row < 6; ++row) {
        float* delays = lanes[s].delays + 4 * (row / 2) + row % 2;
        delays[0] = z.values[row][2 * s];
        delays[2] = z.values[row][2 * s + 1];
      }
  }

 private:
  static constexpr std::size_t kRows = 21;  // 15 coefficients, then z1 and z2 of each section

  SONMERE_INLINE static Section<Samples> section(const Packed<Bytes, kRows>& p, std::size_t index) {
    return {p.load(5 * index),     p.load(5 * index + 1),  p.load(5 * index + 2), p.load(5 * index + 3),
            p.load(5 * index + 4), p.load(15 + 2 * index), p.load(16 + 2 * index)};
  }
  SONMERE_INLINE static Packed<Bytes, kRows> pack(const EqualiserLane* lanes, std::size_t streams) {
    Packed<Bytes, kRows> p;
    for (std::size_t s = 0; s < W::kStreams; ++s) {
      const EqualiserLane none{};
      const EqualiserLane& lane = s < streams ? lanes[s] : none;
      for (std::size_t k = 0; k < 15; ++k) p.set(k, s, lane.coefficients[k], lane.coefficients[k]);
      for (std::size_t k = 0; k < 6; ++k) {
        const float* z = lane.delays + 4 * (k / 2) + k % 2;
        p.set(15 + k, s, z[0], z[2]);
      }
    }
    return p;
  }
};

template <std::size_t Bytes>
SONMERE_INLINE void equaliseOneRegister(EqualiserLane* lanes, float* const* blocks, std::size_t streams,
                                        std::size_t frames) {
  Cascade<Bytes> cascade;
  Cursors<Bytes> cursors;
  cascade.load(lanes, streams);
  cursors.begin(blocks, streams);
  cursors.run(frames, [&](auto x) { return cascade.step(x); });
  cascade.save(lanes, streams);
}

template <std::size_t Bytes>
SONMERE_INLINE void equaliseTwoRegisters(EqualiserLane* lanes, float* const* blocks, std::size_t streams,
                                         std::size_t frames) {
  constexpr std::size_t width = Wide<Bytes>::kStreams;
  Cascade<Bytes> first, second;
  Cursors<Bytes> firstCursors, secondCursors;
  first.load(lanes, width);
  second.load(lanes + width, streams - width);
  firstCursors.begin(blocks, width);
  secondCursors.begin(blocks + width, streams - width);
  runBoth<Bytes>(
      firstCursors, secondCursors, frames, [&](auto x) { return first.step(x); },
      [&](auto x) { return second.step(x); });
  first.save(lanes, width);
  second.save(lanes + width, streams - width);
}

// One stream: the sections stand side by side, each a frame behind the one before it, so that one step moves
// all three. Left and right of the high-pass, the bell, the low-pass; the last two lanes are spare.
template <std::size_t Bytes>
class StaggeredEqualiser {
 public:
  using Samples = typename Wide<Bytes>::Samples;
  using Frames = typename Wide<Bytes>::Frames;

  SONMERE_INLINE void begin(const EqualiserLane& lane, float* block, std::size_t frames) {
    block_ = block;
    frames_ = frames;
    Packed<Bytes, 7> p{};
    for (std::size_t k = 0; k < 3; ++k) {
      const float* z = lane.delays + 4 * k;
      for (std::size_t c = 0; c < 5; ++c)
        p.set(c, k, lane.coefficients[5 * k + c], lane.coefficients[5 * k + c]);
      p.set(5, k, z[0], z[2]);
      p.set(6, k, z[1], z[3]);
    }
    sections_ = {p.load(0), p.load(1), p.load(2), p.load(3), p.load(4), p.load(5), p.load(6)};
  }
  // The next `frames` frames go into the high-pass; what leaves the low-pass is two frames behind.
  SONMERE_INLINE void advance(std::size_t frames) {
    const std::size_t end = at_ + frames;
    for (; at_ < end && at_ < 2; ++at_) partialStep();
    while (at_ < end) advanceOne();
  }
  // One frame, not one of the first two.
  SONMERE_INLINE void advanceOne() {
    std::int64_t frame;
    std::memcpy(&frame, block_ + 2 * at_, sizeof frame);
    last_ = step(sections_, last_, frame);
    frame = ((Frames)last_)[2];
    std::memcpy(block_ + 2 * at_ - 4, &frame, sizeof frame);
    ++at_;
  }
  // The two frames that are still on their way.
  SONMERE_INLINE void end(EqualiserLane& lane) {
    for (; at_ < frames_ + 2; ++at_) partialStep();
    for (std::size_t k = 0; k < 3; ++k) {
      float* z = lane.delays + 4 * k;
      z[0] = sections_.z1[2 * k];
      z[1] = sections_.z2[2 * k];
      z[2] = sections_.z1[2 * k + 1];
      z[3] = sections_.z2[2 * k + 1];
    }
  }

 private:
  SONMERE_INLINE static Samples step(Section<Samples>& sections, Samples last, std::int64_t frame) {
    return sections.step((Samples)__builtin_shufflevector((Frames)last, Frames{frame}, 4, 0, 1, 3));
  }
  // At both ends of a block: sections that have no frame yet, or no more, keep their state.
  SONMERE_INLINE void partialStep() {
    const Section<Samples> before = sections_;
    std::int64_t frame = 0;
    if (at_ < frames_) std::memcpy(&frame, block_ + 2 * at_, sizeof frame);
    last_ = step(sections_, last_, frame);
    frame = ((Frames)last_)[2];
    if (at_ >= 2) std::memcpy(block_ + 2 * at_ - 4, &frame, sizeof frame);
    Frames works{};
    for (std::size_t k = 0; k < 3; ++k) works[k] = k <= at_ && at_ - k < frames_ ? -1 : 0;
    sections_.z1 = (Samples)(((Frames)sections_.z1 & works) | ((Frames)before.z1 & ~works));
    sections_.z2 = (Samples)(((Frames)sections_.z2 & works) | ((Frames)before.z2 & ~works));
  }

  float* block_ = nullptr;
  std::size_t frames_ = 0;
  std::size_t at_ = 0;  // steps taken
  Section<Samples> sections_;
  Samples last_{};
};

// One stream in registers that are too narrow for that.
class NarrowEqualiser {
 public:
  SONMERE_INLINE void begin(const EqualiserLane& lane, float* block, std::size_t) {
    block_ = block;
    cascade_.load(&lane, 1);
  }
  SONMERE_INLINE void advance(std::size_t frames) {
    for (; frames > 0; --frames) advanceOne();
  }
  SONMERE_INLINE void advanceOne() {
    typedef std::int64_t Halves __attribute__((vector_size(16)));
    Halves frame{};
    std::memcpy(&frame, block_, 8);
    const auto y = cascade_.step((Wide<16>::Samples)frame);
    std::memcpy(block_, &y, 8);
    block_ += 2;
  }
  SONMERE_INLINE void end(EqualiserLane& lane) const { cascade_.save(&lane, 1); }

 private:
  float* block_ = nullptr;
  Cascade<16> cascade_;
};

template <std::size_t Bytes>
using SingleEqualiser = std::conditional_t<(Bytes >= 32), StaggeredEqualiser<32>, NarrowEqualiser>;

}  // namespace
}  // namespace sonmere
