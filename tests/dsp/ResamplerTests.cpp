#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "dsp/SincResampler.h"

namespace sonmere {
namespace {

// One channel's tone, as a function of time in input frames.
double toneAt(std::uint32_t channel, double cyclesPerFrame, double frame) {
  return 0.5 / (channel + 1) * std::sin(2 * std::numbers::pi * cyclesPerFrame * frame + 0.3 * channel);
}

struct ToneSource {
  std::uint32_t channels;
  double cyclesPerFrame;
  std::uint32_t at = 0;

  std::vector<float> next(std::uint32_t frames) {
    std::vector<float> block(std::size_t(frames) * channels);
    for (std::uint32_t i = 0; i < frames; ++i, ++at)
      for (std::uint32_t channel = 0; channel < channels; ++channel)
        block[std::size_t(i) * channels + channel] = float(toneAt(channel, cyclesPerFrame, at));
    return block;
  }
};

// How far the next output frames are from the tone at their places, which lie `ratio` apart from `place` on.
double worstError(SincResampler& resampler, ToneSource& source, double ratio, double& place,
                  std::uint32_t frames) {
  const std::uint32_t needed = resampler.inputNeeded(frames);
  resampler.push(source.next(needed).data(), needed);
  std::vector<float> out(std::size_t(frames) * source.channels);
  EXPECT_EQ(resampler.pull(out.data(), frames), frames) << "what was needed is enough";
  double worst = 0;
  for (std::uint32_t i = 0; i < frames; ++i, place += ratio)
    for (std::uint32_t channel = 0; channel < source.channels; ++channel)
      worst = std::max(worst, std::abs(out[std::size_t(i) * source.channels + channel] -
                                       toneAt(channel, source.cyclesPerFrame, place)));
  EXPECT_NEAR(resampler.pending(), source.at - place, 1e-6);
  return worst;
}

// Higher and lower rates and clocks that are a little off, in blocks of all sizes, until its memory has been
// moved many times.
TEST(SincResampler, TonesStayPureAndInPlace) {
  for (const double ratio : {1.0, 1.00002, 0.99998, 44100.0 / 48000, 48000.0 / 44100, 2.0, 0.5, 3.0})
    for (const std::uint32_t channels : {1u, 2u, 3u}) {
      SCOPED_TRACE(testing::Message() << ratio << " with " << channels << " channels");
      SincResampler resampler(channels, ratio, 4000);
      ToneSource source{channels, 0.45 * 0.85 / std::max(1.0, ratio)};
      double place = 0;
      worstError(resampler, source, ratio, place, 256);  // the tone begins at once, and a filter rings
      for (const std::uint32_t block : {1u, 7u, 512u, 333u, 1u, 1024u, 64u, 1000u, 900u})
        EXPECT_LT(worstError(resampler, source, ratio, place, block), 5e-5) << block;
      resampler.setInputPerOutput(ratio * 1.001);
      EXPECT_LT(worstError(resampler, source, ratio * 1.001, place, 700), 5e-5) << "another clock";

      // Elsewhere in the tone, between two frames.
      ToneSource jump{channels, source.cyclesPerFrame, 5000 - resampler.lookbehind()};
      resampler.setInputPerOutput(ratio);
      resampler.resume(jump.next(resampler.lookbehind()).data(), 0.375);
      place = 5000.375;
      EXPECT_LT(worstError(resampler, jump, ratio, place, 600), 5e-5) << "resumed";
    }
}

TEST(SincResampler, WhatTheLowerRateCannotHoldIsRemovedAndALevelIsKept) {
  for (const double ratio : {1.5, 2.0, 4.0}) {
    SincResampler resampler(1, ratio, 8000), level(1, ratio, 8000);
    ToneSource source{1, 0.5 * 1.12 / ratio};
    std::vector<float> out(1500), ones(8000, 1.0f);
    resampler.push(source.next(8000).data(), 8000);
    level.push(ones.data(), 8000);
    ASSERT_EQ(resampler.pull(out.data(), 1500), 1500u);
    for (std::size_t i = 200; i < out.size(); ++i) ASSERT_NEAR(out[i], 0, 3e-5) << ratio << " " << i;
    ASSERT_EQ(level.pull(out.data(), 1500), 1500u);
    for (std::size_t i = 200; i < out.size(); ++i) ASSERT_NEAR(out[i], 1, 1e-6) << ratio << " " << i;
    level.reset();
    EXPECT_EQ(level.pull(out.data(), 1), 0u) << "nothing is left";
    EXPECT_EQ(level.pending(), 0);
    EXPECT_EQ(level.inputNeeded(0), 0u);
    // One frame less than is needed is too little, and no more is taken than fits.
    const std::uint32_t needed = level.inputNeeded(100);
    level.push(ones.data(), needed - 1);
    EXPECT_EQ(level.pull(out.data(), 100), 99u);
  }
}

}  // namespace
}  // namespace sonmere
