#include "dsp/Spectrum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace sonmere {
namespace {

std::size_t bandOf(double hertz) {
  return std::size_t(std::log(hertz / kSpectrumLowHz) / std::log(kSpectrumHighHz / kSpectrumLowHz) *
                     kSpectrumBands);
}

Spectrum ofSine(double hertz, double sampleRate, float level) {
  SpectrumRing ring;
  std::vector<float> stereo;
  for (int i = 0; i < 3000; ++i) {
    const auto sample = level * float(std::sin(2 * std::numbers::pi * hertz * i / sampleRate));
    stereo.insert(stereo.end(), {sample, sample});
  }
  ring.feed(stereo.data(), std::int64_t(stereo.size()));
  return spectrumOf(ring, sampleRate);
}

TEST(Spectrum, ASineShowsAtItsFrequencyWithItsLevel) {
  for (const double sampleRate : {44100.0, 48000.0, 96000.0}) {
    for (const double hertz : {100.0, 1000.0, 9000.0}) {
      const Spectrum spectrum = ofSine(hertz, sampleRate, 0.5f);
      const auto top = std::size_t(std::ranges::max_element(spectrum) - spectrum.begin());
      EXPECT_NEAR(double(top), double(bandOf(hertz)), hertz < 200 ? 5 : 1) << hertz << " at " << sampleRate;
      // Between two bins a Hann window loses 1.4 dB.
      EXPECT_NEAR(spectrum[top], -6, 1.5) << hertz << " at " << sampleRate;
      EXPECT_LT(spectrum[bandOf(hertz * (hertz < 200 ? 5 : 2))], -60) << hertz << " at " << sampleRate;
    }
  }
}

TEST(Spectrum, ASineStaysInItsBand) {
  // In the middle of a band that is wider than what a window spreads.
  for (const std::size_t band : {115u, 122u}) {
    const double hertz =
        kSpectrumLowHz * std::pow(kSpectrumHighHz / kSpectrumLowHz, (double(band) + 0.5) / kSpectrumBands);
    const Spectrum spectrum = ofSine(hertz, 48000, 0.5f);
    EXPECT_NEAR(spectrum[band], -6, 1.5);
    EXPECT_LT(spectrum[band - 1], -30) << band;
    EXPECT_LT(spectrum[band + 1], -30) << band;
  }
}

TEST(Spectrum, SilenceAndWhatTheRateDoesNotHaveAreAtTheFloor) {
  EXPECT_EQ(spectrumOf(SpectrumRing(), 48000), []() {
    Spectrum silence;
    silence.fill(kSpectrumFloorDb);
    return silence;
  }());
  const Spectrum low = ofSine(6000, 16000, 1);
  EXPECT_EQ(low[bandOf(10000)], kSpectrumFloorDb);
}

}  // namespace
}  // namespace sonmere
