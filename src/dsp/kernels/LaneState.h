#pragma once

#include <cstddef>

namespace sonmere {

// One stream's equaliser while a block of it runs, in float32. All in stereo frames, as the streams' samples
// are: delays left and right, and each coefficient twice.
struct EqualiserLane {
  static constexpr std::size_t kFrames = 24;
  static constexpr std::size_t kDelayFrames = 8;  // z1 and z2 of each section, and two to spare

  static constexpr std::size_t delay(std::size_t section, std::size_t z) { return 2 * section + z; }
  // b0, b1, b2, a1, a2 of each section
  static constexpr std::size_t coefficient(std::size_t index) { return kDelayFrames + index; }

  float frames[kFrames][2] = {};
};

// One stream's limiter while a block of it runs. The target is fixed by the block's peak. The gain moves
// towards it and, rounding being monotone, never past it: so the rate is fixed for the block too.
struct LimiterLane {
  float target;
  float rate;  // attack or release
  float ceiling;
  float gain;  // in force before the block, then after it
};

// Two or more streams, at most kMaxLanes, on their way through their equalisers and boosts. At least a frame.
struct SideJob {
  EqualiserLane* const* lanes = nullptr;
  float* const* blocks = nullptr;
  const float* boosts = nullptr;  // each a factor behind the equaliser; 1: none
  float* peaks = nullptr;         // out: largest magnitude behind that; not a number when a sample is none
  std::size_t count = 0;
  float* side = nullptr;  // out: all samples, in an order of the kernels' own
};

// The end of a group of streams: they come back from lying side by side, some of them are limited, all are
// added to the sum one after the other, and the sum may go through an equaliser. Done together, a few frames
// at a time, since each of these is mostly waiting for its own last result. At most kMaxLanes streams.
struct MixJob {
  // What a SideJob of so many streams has left, or nothing; the blocks that it was made from receive it,
  // behind their limiters if there are any.
  const float* side = nullptr;
  float* const* sideBlocks = nullptr;
  std::size_t sideCount = 0;
  LimiterLane* sideLimiters = nullptr;  // or none
  // Blocks that are limited in place.
  LimiterLane* limiters = nullptr;
  float* const* limited = nullptr;
  std::size_t limitedCount = 0;
  // Added to the sum; any of the blocks above may be among them.
  const float* const* sources = nullptr;
  const float* gains = nullptr;
  std::size_t sourceCount = 0;
  float* sum = nullptr;
  EqualiserLane* equaliser = nullptr;  // or none
};

}  // namespace sonmere
