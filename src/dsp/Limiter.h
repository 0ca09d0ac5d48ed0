#pragma once

#include <cstddef>
#include <span>

#include "base/RealtimeScope.h"
#include "dsp/kernels/Kernels.h"

namespace sonmere {

// Per-frame smoothing factors of a limiter's gain.
struct LimiterRates {
  float attack;
  float release;
};

// 5 ms and 50 ms at 48000 Hz, exp(-1/240) and exp(-1/2400): apps, bus masters, the volume path and its
// output, whatever rate the device runs at.
constexpr LimiterRates kLimiterRates48k{0x1.fddfp-1f, 0x1.ffc966p-1f};  // bits 0x3f7eef80, 0x3f7fe4b3
// The microphone's, for its capture rate in Hz.
LimiterRates limiterRates(double sampleRate);

// How far from 1 a bus master's gain must be for a silent block to move it.
constexpr float kBusQuietThreshold = 0.0001f;

// 10^(ceilingDb / 20).
float limiterCeiling(double ceilingDb);

// The limiter's state for one block of this peak, of which no value needs to be a number: the target is
// ceiling / peak when the gain would not do, else 1. The kernels run it. Render thread.
LimiterLane limiterLane(float peak, float ceiling, float gain,
                        const LimiterRates& rates) noexcept SONMERE_NONBLOCKING;
// Whether that would neither move the gain nor change a sample.
bool isLimiterAtRest(float peak, float ceiling, float gain) noexcept SONMERE_NONBLOCKING;

// Limits frames of interleaved stereo in place, and returns the new gain. The target is
// fixed for the block by its peak, there is no look-ahead; the clamp at the end guarantees the ceiling.
// A sample that is not a number makes the target 1 and comes out as the negative ceiling. Render thread.
float limit(std::span<float> stereo, float ceiling, float gain,
            const LimiterRates& rates) noexcept SONMERE_NONBLOCKING;

// The form of bus masters and of the volume path's output: a block whose peak is exactly 0 only lets the gain
// recover, when it is farther than `quietThreshold` from 1. Render thread.
float limitUnlessSilent(std::span<float> stereo, float ceiling, float gain, float quietThreshold,
                        const LimiterRates& rates) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
