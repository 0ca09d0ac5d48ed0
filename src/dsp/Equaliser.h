#pragma once

#include <array>
#include <cstddef>

#include "base/RealtimeScope.h"
#include "dsp/AppEQSettings.h"
#include "dsp/RTDoubles.h"
#include "dsp/kernels/Kernels.h"

namespace sonmere {

// Three sections (high-pass, bell, low-pass) of b0, b1, b2, a1, a2, divided by a0.
constexpr std::size_t kEQCoefficientCount = 15;
// Per section z1 left, z2 left, z1 right, z2 right; the last two of the 14 are spare and stay zero.
constexpr std::size_t kEQDelayCount = 14;

using EQCoefficients = std::array<double, kEQCoefficientCount>;

// Coefficients for the rate handed in: microphone and additional inputs. Frequencies are held between 20 Hz
// and half the rate less 1 Hz. Butterworth high- and low-pass and a peaking bell by the usual bilinear
// formulas, with 1.4142 for the square root of two.
EQCoefficients coefficients(const AppEQSettings& settings, double sampleRate);

// Coefficients for 48000 Hz whatever the device runs at: apps, bus masters and the output. Clamps less
// strictly than the form above, and is to stay that way.
EQCoefficients coefficients48k(const AppEQSettings& settings);

// The cascade's state for one block, narrowed to float32 and widened back: transposed direct form II,
// y = b0 x + z1; z1 = (b1 x - a1 y) + z2; z2 = b2 x - a2 y. The kernels run it. Render thread.
EqualiserLane equaliserLane(const RTDoubles& coefficients,
                            const RTDoubles& delays) noexcept SONMERE_NONBLOCKING;
EqualiserLane equaliserLane(const EQCoefficients& coefficients,
                            const RTDoubles& delays) noexcept SONMERE_NONBLOCKING;
// Parts of that, for a lane that is kept from block to block.
void setCoefficients(EqualiserLane& lane, const RTDoubles& coefficients) noexcept SONMERE_NONBLOCKING;
void loadDelays(EqualiserLane& lane, const RTDoubles& delays) noexcept SONMERE_NONBLOCKING;
// A channel that is no longer finite, after a sample that was no number, begins anew in both.
void saveDelays(EqualiserLane& lane, RTDoubles& delays) noexcept SONMERE_NONBLOCKING;

// All of it, in place over `frames` interleaved stereo frames. Render thread.
template <class Coefficients>
void applyEqualiser(const Coefficients& coefficients, RTDoubles& delays, std::size_t frames,
                    float* buffer) noexcept SONMERE_NONBLOCKING {
  EqualiserLane lane = equaliserLane(coefficients, delays);
  kernels().equalise(lane, buffer, frames);
  saveDelays(lane, delays);
}

// The editor's curve in dB at frequency f: a drawing aid, not the filter's response.
double equaliserCurveDb(const AppEQSettings& settings, double f);

// Logarithmic slider: track position 0 to 1 to a frequency, limited to hi.
double logarithmicValue(double position, double lo, double hi);

}  // namespace sonmere
