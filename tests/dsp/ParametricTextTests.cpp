#include "dsp/ParametricText.h"

#include <gtest/gtest.h>

#include "dsp/Equaliser.h"

namespace sonmere {
namespace {

TEST(ParametricText, TheSectionsThatCanBeHeldAreAndTheRestIsSaid) {
  const auto fit = fitParametric(
      "\xEF\xBB\xBFPreamp: -6.2 dB\r\n# a comment\r\nFilter 1: ON PK Fc 100 Hz Gain -2 dB Q 1\r\n"
      "Filter 2: ON PK Fc 3,150 Hz Gain 5,5 dB Q 2,0\r\nFilter 3: OFF PK Fc 10 Hz Gain 20 dB Q 1\r\n"
      "Filter 4: ON HP Fc 30 Hz\nFilter 5: ON LPQ Fc 16000 Hz Q 1.2\nFilter 6: ON NO Fc 50 Hz\n"
      "Filter 7: ON HP Fc 60 Hz\nChannel: L\n\n");
  ASSERT_TRUE(fit);
  EXPECT_EQ(fit->settings, (AppEQSettings{true, 30, 16000, 3150, 5.5, 2}));
  ASSERT_EQ(fit->notes.size(), 6u);
  for (const char* said : {"preamp of -6.2 dB", "Filter 1 (PK 100 Hz, -2 dB, Q 1) is left out",
                           "the Q is left out", "Filter 6", "Filter 7", "Channel: L"})
    EXPECT_TRUE(std::ranges::any_of(fit->notes, [&](const auto& note) { return note.contains(said); }))
        << said;
}

// The wide filter is heard more than the high one that is narrow; a bandwidth stands for a Q.
TEST(ParametricText, TheBellIsTheFilterThatChangesMost) {
  const auto fit = fitParametric(
      "Filter 1: ON PK Fc 50 Hz Gain 12 dB Q 10\nFilter 2: ON PK Fc 1000 Hz Gain -6 dB BW Oct 2\n");
  ASSERT_TRUE(fit);
  EXPECT_EQ(fit->settings.paraFreq, 1000);
  EXPECT_NEAR(fit->settings.paraQ, 0.667, 0.001);
}

TEST(ParametricText, AShelfIsTheBellThatHasItsHalfAtTheCorner) {
  for (const auto& [text, far] : {std::pair{"Filter 1: ON LS Fc 200 Hz Gain 8 dB", 100.0},
                                  {"Filter 1: ON HSC Fc 4000 Hz Gain 8 dB Q 0.7", 8000.0}}) {
    const auto fit = fitParametric(text);
    ASSERT_TRUE(fit);
    EXPECT_EQ(fit->settings.paraFreq, far);
    EXPECT_NEAR(equaliserCurveDb(fit->settings, far), 8, 0.5);
    EXPECT_NEAR(equaliserCurveDb(fit->settings, far == 100 ? 200 : 4000), 4, 1);
    EXPECT_TRUE(fit->notes.at(0).contains("there is no shelf"));
  }
}

TEST(ParametricText, WhatIsNoneIsNone) {
  for (const char* text : {"", "hello", "Filter", "Preamp: -3 dB", "Filter 1: Fc 100 Hz"})
    EXPECT_FALSE(fitParametric(text)) << text;
  const auto odd =
      fitParametric("Filter 1: ON PK Fc nan Hz Gain 1e999 dB Q -1\nFilter 2: ON\nFilter 3: ON PK Fc -5");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->settings, (AppEQSettings{true}));
}

}  // namespace
}  // namespace sonmere
