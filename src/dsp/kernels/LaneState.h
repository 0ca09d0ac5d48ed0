#pragma once

#include <cstddef>

namespace sonmere {

// One stream's equaliser while a block of it runs: coefficients and delays as in Equaliser.h, in float32.
struct EqualiserLane {
  float coefficients[15];
  float delays[12];
};

// One stream's limiter while a block of it runs. The target is fixed by the block's peak. The gain moves
// towards it and, rounding being monotone, never past it: so the rate is fixed for the block too.
struct LimiterLane {
  float target;
  float rate;  // attack or release
  float ceiling;
  float gain;  // in force before the block, then after it
};

// The end of a group of streams: some of them are limited, all are added to the sum one after the other, and
// the sum may go through an equaliser. Done together, a few frames at a time, since each of these is mostly
// waiting for its own last result. Sources and limited blocks may be the same; at most kMaxLanes of each.
struct MixJob {
  LimiterLane* limiters = nullptr;
  float* const* limited = nullptr;
  std::size_t limitedCount = 0;
  const float* const* sources = nullptr;
  const float* gains = nullptr;
  std::size_t sourceCount = 0;
  float* sum = nullptr;
  EqualiserLane* equaliser = nullptr;  // or none
};

}  // namespace sonmere
