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

  SONMERE_INLINE void load(EqualiserLane* const* lanes, std::size_t streams) {
    EqualiserLane silent;
    Samples rows[EqualiserLane::kFrames];
    for (std::size_t first = 0; first < EqualiserLane::kFrames; first += W::kStreams) {
      Square<Bytes> square;
      const float* at[W::kStreams];
      for (std::size_t s = 0; s < W::kStreams; ++s) at[s] = (s < streams ? *lanes[s] : silent).frames[first];
      square.load(at, 0);
      square.transpose();
      std::memcpy(rows + first, square.row, sizeof square.row);
    }
    highPass = section(rows, 0);
    bell = section(rows, 1);
    lowPass = section(rows, 2);
  }
  SONMERE_INLINE Samples step(Samples x) { return lowPass.step(bell.step(highPass.step(x))); }
  SONMERE_INLINE void save(EqualiserLane* const* lanes, std::size_t streams) const {
    EqualiserLane spare;
    const Samples rows[EqualiserLane::kDelayFrames] = {highPass.z1, highPass.z2, bell.z1,
                                                       bell.z2,     lowPass.z1,  lowPass.z2};
    for (std::size_t first = 0; first < EqualiserLane::kDelayFrames; first += W::kStreams) {
      Square<Bytes> square;
      float* at[W::kStreams];
      for (std::size_t s = 0; s < W::kStreams; ++s) at[s] = (s < streams ? *lanes[s] : spare).frames[first];
      std::memcpy(square.row, rows + first, sizeof square.row);
      square.transpose();
      square.store(at, 0);
    }
  }

 private:
  SONMERE_INLINE static Section<Samples> section(const Samples* rows, std::size_t index) {
    const Samples* c = rows + EqualiserLane::coefficient(5 * index);
    return {c[0],
            c[1],
            c[2],
            c[3],
            c[4],
            rows[EqualiserLane::delay(index, 0)],
            rows[EqualiserLane::delay(index, 1)]};
  }
};

// Equalisers and boosts of up to a register's streams, which are left side by side. All of this stays in
// registers, the cursors apart.
template <std::size_t Bytes>
class EqualiserPart {
 public:
  using Samples = typename Wide<Bytes>::Samples;

  SONMERE_INLINE void begin(const SideJob& job, std::size_t first, std::size_t streams, float* side) {
    cascade_.load(job.lanes + first, streams);
    boost_ = inBothLanes<Bytes>(streams, 1, [&](std::size_t s) { return job.boosts[first + s]; });
    side_ = side;
  }
  SONMERE_INLINE void step(Samples x) { put(cascade_.step(x)); }
  // Where there are registers enough, each section is a frame behind the one before it, and none waits for
  // another. The last two frames come out in the end.
  SONMERE_INLINE void stepApart(Samples x, std::size_t frame) {
    if (frame > 1) put(cascade_.lowPass.step(toLowPass_));
    if (frame > 0) toLowPass_ = cascade_.bell.step(toBell_);
    toBell_ = cascade_.highPass.step(x);
  }
  SONMERE_INLINE void endApart(std::size_t frames) {
    if (frames > 1) put(cascade_.lowPass.step(toLowPass_));
    put(cascade_.lowPass.step(cascade_.bell.step(toBell_)));
  }
  SONMERE_INLINE void end(const SideJob& job, std::size_t first, std::size_t streams) {
    cascade_.save(job.lanes + first, streams);
    for (std::size_t s = 0; s < streams; ++s) {
      const std::int32_t peak = peak_[2 * s] > peak_[2 * s + 1] ? peak_[2 * s] : peak_[2 * s + 1];
      std::memcpy(job.peaks + first + s, &peak, sizeof peak);
    }
  }

 private:
  SONMERE_INLINE void put(Samples y) {
    y = y * boost_;
    std::memcpy(side_, &y, Bytes);
    side_ += Wide<Bytes>::kSamples;
    const Bits magnitude = (Bits)y & 0x7fffffff;
    peak_ = magnitude > peak_ ? magnitude : peak_;
  }

  // As whole numbers the bits of magnitudes have the order of their values, with what is no number above all.
  using Bits = typename Wide<Bytes>::Bits;
  Cascade<Bytes> cascade_;
  Samples toBell_{}, toLowPass_{};
  Samples boost_;
  Bits peak_{};
  float* side_ = nullptr;
};

// What lies side by side has a part for each register's streams, one part behind the other.
template <std::size_t Bytes>
SONMERE_INLINE void equaliseOneRegister(const SideJob& job, std::size_t first, std::size_t frames) {
  constexpr std::size_t width = Wide<Bytes>::kStreams;
  const std::size_t streams = job.count - first < width ? job.count - first : width;
  EqualiserPart<Bytes> part;
  Cursors<Bytes> cursors;
  part.begin(job, first, streams, job.side + 2 * first * frames);
  cursors.begin(job.blocks + first, streams);
  if constexpr (Bytes > 32) {
    readThrough(cursors, frames, [&](auto x, std::size_t frame) { part.stepApart(x, frame); });
    part.endApart(frames);
  } else {
    readThrough(cursors, frames, [&](auto x, std::size_t) { part.step(x); });
  }
  part.end(job, first, streams);
}

template <std::size_t Bytes>
SONMERE_INLINE void equaliseTwoRegisters(const SideJob& job, std::size_t first, std::size_t frames) {
  constexpr std::size_t width = Wide<Bytes>::kStreams;
  const std::size_t second = first + width;
  const std::size_t streams = job.count - second < width ? job.count - second : width;
  EqualiserPart<Bytes> a, b;
  Cursors<Bytes> aCursors, bCursors;
  a.begin(job, first, width, job.side + 2 * first * frames);
  b.begin(job, second, streams, job.side + 2 * second * frames);
  aCursors.begin(job.blocks + first, width);
  bCursors.begin(job.blocks + second, streams);
  readThroughBoth(aCursors, bCursors, frames, [&](auto x, auto y) {
    a.step(x);
    b.step(y);
  });
  a.end(job, first, width);
  b.end(job, second, streams);
}

// One stream: the sections stand side by side, each a frame behind the one before it, so that one step moves
// all three. Left and right of the high-pass, the bell, the low-pass; the last two lanes are spare.
template <std::size_t Bytes>
class StaggeredEqualiser {
 public:
  using Samples = typename Wide<Bytes>::Samples;
  using Frames = typename Wide<Bytes>::Frames;

  SONMERE_INLINE void begin(EqualiserLane& lane, float* block, std::size_t frames) {
    block_ = block;
    frames_ = frames;
    sections_ = {row(lane, EqualiserLane::coefficient(0), 5), row(lane, EqualiserLane::coefficient(1), 5),
                 row(lane, EqualiserLane::coefficient(2), 5), row(lane, EqualiserLane::coefficient(3), 5),
                 row(lane, EqualiserLane::coefficient(4), 5), row(lane, EqualiserLane::delay(0, 0), 2),
                 row(lane, EqualiserLane::delay(0, 1), 2)};
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
    for (std::size_t k = 0; k < 3; ++k)
      for (std::size_t channel = 0; channel < 2; ++channel) {
        lane.frames[EqualiserLane::delay(k, 0)][channel] = sections_.z1[2 * k + channel];
        lane.frames[EqualiserLane::delay(k, 1)][channel] = sections_.z2[2 * k + channel];
      }
  }

 private:
  // One frame of each section, which stand so far apart.
  SONMERE_INLINE static Samples row(const EqualiserLane& lane, std::size_t first, std::size_t step) {
    Samples result{};
    for (std::size_t k = 0; k < 6; ++k) result[k] = lane.frames[first + k / 2 * step][k % 2];
    return result;
  }
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
  SONMERE_INLINE void begin(EqualiserLane& lane, float* block, std::size_t) {
    block_ = block;
    EqualiserLane* const lanes[] = {&lane};
    cascade_.load(lanes, 1);
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
  SONMERE_INLINE void end(EqualiserLane& lane) const {
    EqualiserLane* const lanes[] = {&lane};
    cascade_.save(lanes, 1);
  }

 private:
  float* block_ = nullptr;
  Cascade<16> cascade_;
};

template <std::size_t Bytes>
using SingleEqualiser = std::conditional_t<(Bytes >= 32), StaggeredEqualiser<32>, NarrowEqualiser>;

}  // namespace
}  // namespace sonmere
