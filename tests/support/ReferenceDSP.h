#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "dsp/Equaliser.h"

// The arithmetic of the render paths once more, as plain scalar loops over one stream, to hold the kernels
// to.
namespace sonmere::reference {

struct EqualiserState {
  float z[3][2][2] = {};  // section, channel, z1 and z2
};

// A channel that is no longer finite begins anew.
inline void recover(EqualiserState& state) {
  for (int channel = 0; channel < 2; ++channel) {
    bool isFinite = true;
    for (const auto& section : state.z)
      isFinite &= std::isfinite(section[channel][0]) && std::isfinite(section[channel][1]);
    for (auto& section : state.z)
      if (!isFinite) section[channel][0] = section[channel][1] = 0;
  }
}

// Three passes over the block, one section at a time, one channel after the other.
inline void equalise(const EQCoefficients& c, EqualiserState& state, float* buffer, std::size_t frames) {
  for (int s = 0; s < 3; ++s) {
    const float b0 = float(c[5 * s]), b1 = float(c[5 * s + 1]), b2 = float(c[5 * s + 2]);
    const float a1 = float(c[5 * s + 3]), a2 = float(c[5 * s + 4]);
    for (int channel = 0; channel < 2; ++channel) {
      float z1 = state.z[s][channel][0], z2 = state.z[s][channel][1];
      for (std::size_t i = 0; i < frames; ++i) {
        const float x = buffer[2 * i + channel];
        const float y = b0 * x + z1;
        z1 = (b1 * x - a1 * y) + z2;
        z2 = b2 * x - a2 * y;
        buffer[2 * i + channel] = y;
      }
      state.z[s][channel][0] = z1;
      state.z[s][channel][1] = z2;
    }
  }
  recover(state);
}

// Not a number when any sample is none.
inline float peakOf(const float* buffer, std::size_t n) {
  float peak = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (std::isnan(buffer[i])) return buffer[i];
    if (std::fabs(buffer[i]) > peak) peak = std::fabs(buffer[i]);
  }
  return peak;
}

// Returns the new gain.
inline float limit(float* buffer, std::size_t frames, float ceiling, float gain, float attack,
                   float release) {
  const float peak = peakOf(buffer, 2 * frames);
  float target = 1.0f;
  if (gain * peak > ceiling) target = ceiling / (peak > 1e-9f ? peak : 1e-9f);
  for (std::size_t i = 0; i < frames; ++i) {
    gain = (gain - target) * (gain > target ? attack : release) + target;
    for (int channel = 0; channel < 2; ++channel) {
      float v = buffer[2 * i + channel] * gain;
      if (v > ceiling) v = ceiling;
      if (!(v > -ceiling)) v = -ceiling;
      buffer[2 * i + channel] = v;
    }
  }
  return gain;
}

}  // namespace sonmere::reference
