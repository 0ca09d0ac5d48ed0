#include "dsp/Spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace sonmere {

namespace {

constexpr std::size_t kSize = kSpectrumRingSamples;
using Values = std::vector<std::complex<float>>;

// The oldest sample first, under a Hann window.
Values windowed(const SpectrumRing& ring) {
  Values values(kSize);
  const auto oldest = std::size_t(ring.writePos.load());
  for (std::size_t i = 0; i < kSize; ++i) {
    const double window = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * double(i) / double(kSize));
    values[i] = ring.samples[(oldest + i) % kSize].load() * float(window);
  }
  return values;
}

// In place, of a power of two: the samples in the order of reversed bits, then halves joined.
void transform(Values& values) {
  const std::size_t n = values.size();
  for (std::size_t i = 1, j = 0; i < n; ++i) {
    std::size_t bit = n >> 1;
    for (; j & bit; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(values[i], values[j]);
  }
  for (std::size_t length = 2; length <= n; length *= 2) {
    const auto step = std::polar(1.0, -2 * std::numbers::pi / double(length));
    for (std::size_t begin = 0; begin < n; begin += length) {
      std::complex<double> turn = 1;
      for (std::size_t k = 0; k < length / 2; ++k, turn *= step) {
        auto& first = values[begin + k];
        auto& second = values[begin + k + length / 2];
        const auto turned = second * std::complex<float>(turn);
        second = first - turned;
        first += turned;
      }
    }
  }
}

// The window halves a sine, and its half of the energy is at the negative frequency.
float magnitude(const Values& values, std::size_t bin) { return std::abs(values[bin]) * 4 / float(kSize); }

// Between two bins what lies between them; where a band holds several, the largest.
float bandMagnitude(const Values& values, double fromBin, double untilBin) {
  const double last = double(kSize) / 2 - 1;
  if (fromBin > last) return 0;
  const auto below = std::size_t(fromBin);
  const auto share = float(fromBin - std::floor(fromBin));
  float most = magnitude(values, below) * (1 - share) + magnitude(values, below + 1) * share;
  for (auto bin = below + 1; double(bin) < std::min(untilBin, last); ++bin)
    most = std::max(most, magnitude(values, bin));
  return most;
}

}  // namespace

Spectrum spectrumOf(const SpectrumRing& ring, double sampleRate) {
  Values values = windowed(ring);
  transform(values);
  const double binHz = sampleRate / double(kSize);
  const auto edge = [&](std::size_t band) {
    return kSpectrumLowHz * std::pow(kSpectrumHighHz / kSpectrumLowHz, double(band) / kSpectrumBands) / binHz;
  };
  Spectrum spectrum;
  for (std::size_t band = 0; band < kSpectrumBands; ++band) {
    const float level = bandMagnitude(values, edge(band), edge(band + 1));
    spectrum[band] = level > 0 ? std::max(20 * std::log10(level), kSpectrumFloorDb) : kSpectrumFloorDb;
  }
  return spectrum;
}

}  // namespace sonmere
