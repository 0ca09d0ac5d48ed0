#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <random>

#include "dsp/EffectSettingsCodec.h"
#include "dsp/Equaliser.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

AppEQSettings someSettings() {
  return {.isEnabled = true,
          .highPassFreq = 120,
          .lowPassFreq = 9000,
          .paraFreq = 1500,
          .paraGain = 7.5,
          .paraQ = 2};
}

// |H| at f of one section's coefficients.
double magnitude(const double* c, double f, double rate) {
  const double w = 2 * std::numbers::pi * f / rate;
  const std::complex<double> z1 = std::polar(1.0, -w), z2 = std::polar(1.0, -2 * w);
  return std::abs((c[0] + c[1] * z1 + c[2] * z2) / (1.0 + c[3] * z1 + c[4] * z2));
}

TEST(Equaliser, SectionsHaveTheResponseOfTheirNames) {
  const auto c = coefficients48k(someSettings());
  EXPECT_NEAR(magnitude(c.data(), 120, 48000), std::sqrt(0.5), 1e-3);
  EXPECT_NEAR(magnitude(c.data(), 12000, 48000), 1, 1e-3);
  EXPECT_NEAR(20 * std::log10(magnitude(c.data() + 5, 1500, 48000)), 7.5, 1e-9);
  EXPECT_NEAR(magnitude(c.data() + 10, 9000, 48000), std::sqrt(0.5), 1e-3);
  EXPECT_NEAR(magnitude(c.data() + 10, 30, 48000), 1, 1e-3);
}

// Worked out by another program from the formulas: what users have tuned by ear must not change.
TEST(Equaliser, CoefficientsAreTheseNumbers) {
  const auto expectNear = [](const EQCoefficients& actual, const EQCoefficients& expected) {
    for (std::size_t k = 0; k < expected.size(); ++k) EXPECT_NEAR(actual[k], expected[k], 2e-14) << k;
  };
  expectNear(
      coefficients48k({true, 80, 8000, 1000, 6, 0.7}),
      {0.9926224727863111, -1.985244945572622, 0.9926224727863111, -1.985190517960482, 0.9852993731847625,
       1.06162378893287, -1.860114876444335, 0.814541945454859, -1.860114876444335, 0.8761657343877289,
       0.155050460982156, 0.3101009219643119, 0.155050460982156, -0.6202018439286241, 0.2404036878572479});
  expectNear(
      coefficients48k({true, 5, 30000, 24000, -12, 0.01}),
      {0.9981504935027753, -1.996300987005551, 0.9981504935027753, -1.99629756639383, 0.9963044076172717,
       0.9990234054797426, 1.997391596913433, 0.9983682085460734, 1.997391596913433, 0.9973916140258161,
       0.9999074433348394, 1.999814886669679, 0.9999074433348394, 1.999814878103107, 0.9998148952362507});
  expectNear(
      coefficients({true, 0, 30000, 22049, 3, 2}, 44100),
      {0.9979870964295267, -1.995974192859053, 0.9979870964295267, -1.995970141151722, 0.9959782445663845,
       1.000012363224343, 1.999940042250675, 0.9999276993250932, 1.999940042250675, 0.9999400625494363,
       0.9998992584638459, 1.999798516927692, 0.9998992584638459, 1.999798506779029, 0.9997985270763543});
}

TEST(Equaliser, FrequenciesAreHeldInRangeByEachFormInItsWay) {
  const auto lowPass = [](double f) { return AppEQSettings{.lowPassFreq = f}; };
  EXPECT_EQ(coefficients48k(lowPass(24000)), coefficients48k(lowPass(1e9)));
  EXPECT_NE(coefficients48k(lowPass(23998)), coefficients48k(lowPass(24000)));
  EXPECT_EQ(coefficients48k(lowPass(0)), coefficients48k(lowPass(20)));
  EXPECT_NEAR(magnitude(coefficients48k(lowPass(23999.5)).data() + 10, 100, 48000), 1, 1e-3);

  EXPECT_EQ(coefficients(lowPass(30000), 44100), coefficients(lowPass(22049), 44100));
  EXPECT_EQ(coefficients(lowPass(-5), 44100), coefficients(lowPass(20), 44100));
  EXPECT_NE(coefficients(lowPass(1000), 44100), coefficients48k(lowPass(1000)));

  AppEQSettings flat;
  flat.paraQ = 0;
  flat.paraGain = 3;
  AppEQSettings narrow = flat;
  narrow.paraQ = 0.1;
  EXPECT_EQ(coefficients48k(flat), coefficients48k(narrow));
  const auto neutral = coefficients48k({});
  EXPECT_EQ(neutral[5], 1.0);
  EXPECT_EQ(neutral[6], neutral[8]);
  EXPECT_EQ(neutral[7], neutral[9]);
}

// Noise, silence, subnormals, and values that are no numbers, in blocks of all sizes, switched off between.
TEST(Equaliser, EqualsThePlainLoopBitForBit) {
  RealtimeGuard guard;
  std::mt19937 random(7);
  std::uniform_real_distribution<float> noise(-1, 1);
  const auto c = coefficients48k(someSettings());
  RTDoubles block(kEQCoefficientCount), delays(kEQDelayCount);
  block.copy(c);
  reference::EqualiserState state;
  for (int round = 0; round < 300; ++round) {
    const std::size_t frames = random() % 700;
    std::vector<float> expected(2 * frames);
    const int kind = round % 5;
    for (auto& sample : expected)
      sample = kind == 0 ? 0.0f : kind == 1 ? noise(random) * 1e-39f : noise(random) * 4;
    auto actual = expected;
    reference::equalise(c, state, expected.data(), frames);
    {
      const RealtimeScope scope;
      applyEqualiser(block, delays, frames, actual.data());
    }
    ASSERT_EQ(std::memcmp(expected.data(), actual.data(), 8 * frames), 0) << "round " << round;
  }
  EXPECT_EQ(delays[12], 0);
  EXPECT_EQ(delays[13], 0);
  EXPECT_REALTIME_SAFE(guard);
}

TEST(Equaliser, TheDrawnCurveIsADrawingAid) {
  AppEQSettings settings{.highPassFreq = 100, .lowPassFreq = 10000, .paraFreq = 1000, .paraGain = 12};
  EXPECT_DOUBLE_EQ(equaliserCurveDb(settings, 1000), 12);
  EXPECT_NEAR(equaliserCurveDb(settings, 50), -12, 0.01);
  EXPECT_NEAR(equaliserCurveDb(settings, 20000), -12, 0.01);
  EXPECT_DOUBLE_EQ(equaliserCurveDb(settings, 1), -24);
  EXPECT_DOUBLE_EQ(logarithmicValue(0.5, 20, 20000), std::sqrt(20.0 * 20000));
  EXPECT_LE(logarithmicValue(1, 20, 20000), 20000);
}

TEST(EffectSettings, AreJSONWithTheFieldNamesAndNothingElseDecodes) {
  const auto settings = someSettings();
  EXPECT_EQ(decodeJSON<AppEQSettings>(encodeJSON(settings)), settings);
  EXPECT_EQ(encodeJSON(AppLimiterSettings{true, -3}), R"({"ceilingDb":-3.0,"isEnabled":true})");
  for (const char* bad : {"", "[]", "{", R"({"isEnabled":true})", R"({"isEnabled":1,"ceilingDb":"x"})"}) {
    EXPECT_FALSE(decodeJSON<AppLimiterSettings>(bad)) << bad;
    EXPECT_FALSE(decodeJSON<AppEQSettings>(bad)) << bad;
  }
}

}  // namespace
}  // namespace sonmere
