#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

namespace sonmere {

// One channel of an interleaved signal.
inline std::vector<float> channelOf(const std::vector<float>& samples, std::size_t channel,
                                    std::size_t channels) {
  std::vector<float> one;
  for (std::size_t i = channel; i < samples.size(); i += channels) one.push_back(samples[i]);
  return one;
}

// Number of the first counter frame (see SampleSources::counter) in a stereo signal; -1 when it holds none.
inline std::ptrdiff_t firstSound(const std::vector<float>& stereo) {
  for (std::size_t i = 0; i < stereo.size(); ++i)
    if (stereo[i] != 0) return std::ptrdiff_t(i / 2);
  return -1;
}

// Frames of a stereo counter signal that don't follow the one before them.
inline std::size_t counterBreaks(const std::vector<float>& stereo, std::size_t fromFrame) {
  std::size_t breaks = 0;
  for (std::size_t frame = fromFrame + 1; 2 * frame + 1 < stereo.size(); ++frame)
    breaks +=
        stereo[2 * frame] - stereo[2 * frame - 2] != 0x1p-24f || stereo[2 * frame + 1] != -stereo[2 * frame];
  return breaks;
}

// Power of all that is not the best-fitting sine of this frequency, relative to that sine, in dB.
inline double residueDb(const std::vector<float>& signal, std::size_t from, double hertz, double rate) {
  double ss = 0, cc = 0, sc = 0, xs = 0, xc = 0, xx = 0;
  for (std::size_t i = from; i < signal.size(); ++i) {
    const double angle = 2 * std::numbers::pi * hertz * double(i) / rate;
    const double s = std::sin(angle), c = std::cos(angle), x = signal[i];
    ss += s * s, cc += c * c, sc += s * c, xs += x * s, xc += x * c, xx += x * x;
  }
  const double determinant = ss * cc - sc * sc;
  const double a = (xs * cc - xc * sc) / determinant, b = (xc * ss - xs * sc) / determinant;
  const double tone = a * xs + b * xc;
  return 10 * std::log10(std::max(xx - tone, 1e-30) / tone);
}

}  // namespace sonmere
