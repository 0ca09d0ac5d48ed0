#include "control/VolumeText.h"

#include <gtest/gtest.h>

#include <cmath>

namespace sonmere {
namespace {

using Kind = VolumeText::Kind;

TEST(VolumeTextTest, AVolumeIsReadAsPeopleWriteIt) {
  const std::tuple<const char*, Kind, double> cases[] = {
      {"0", Kind::level, 0},
      {"0.5", Kind::level, 0.5},
      {".5", Kind::level, 0.5},
      {"1", Kind::level, 1},
      {"4", Kind::level, 4},
      {"30%", Kind::level, 0.3},
      {"30 %", Kind::level, 0.3},
      {"0%", Kind::level, 0},
      {"400%", Kind::level, 4},
      {"900%", Kind::level, 9},
      {"0dB", Kind::level, 1},
      {"-6dB", Kind::level, 0.501187},
      {"-6 db", Kind::level, 0.501187},
      {"+3dB", Kind::level, 1.412538},
      {"3DB", Kind::level, 1.412538},
      {"-600dB", Kind::level, 0},
      {"+5%", Kind::step, 0.05},
      {"-5%", Kind::step, -0.05},
      {"5%+", Kind::step, 0.05},
      {"5%-", Kind::step, -0.05},
      {"2.5%-", Kind::step, -0.025},
      {"3dB+", Kind::decibelStep, 3},
      {"3dB-", Kind::decibelStep, -3},
      {"0.5dB-", Kind::decibelStep, -0.5},
  };
  for (const auto& [text, kind, value] : cases) {
    const auto read = readVolume("VOLUME", text);
    ASSERT_TRUE(read) << text << ": " << read.error().description;
    EXPECT_EQ(read->kind, kind) << text;
    EXPECT_NEAR(read->value, value, 1e-6) << text;
  }
  // Whatever is written, a float holds it.
  for (const char* text : {"1e300%", "1e300dB", "-1e300dB", "1e300%-"})
    EXPECT_TRUE(std::isfinite(float(readVolume("VOLUME", text)->value))) << text;
}

TEST(VolumeTextTest, WhatIsNoVolumeIsRefusedAndToldWhatWasMeant) {
  const std::pair<const char*, const char*> cases[] = {
      {"30", "VOLUME: \"30\" is beyond the largest gain, 4; write 30% or 0.3"},
      {"4.1", "VOLUME: \"4.1\" is beyond the largest gain, 4; write 4.1% or 0.041"},
      {"100", "VOLUME: \"100\" is beyond the largest gain, 4; write 100% or 1"},
      {"500", "VOLUME: \"500\" is beyond the largest volume, 4 or 400%"},
      {"-3", "VOLUME: \"-3\" has no unit; a step is +3% or 3%-, a level in decibels -3dB"},
      {"+0.1", "VOLUME: \"+0.1\" has no unit; a step is +0.1% or 0.1%-, a level in decibels -0.1dB"},
      {"0.1+", "VOLUME: \"0.1+\" has no unit; a step is +0.1% or 0.1%-, a level in decibels -0.1dB"},
      {"", "VOLUME: the volume is empty; use 50%, 0.5 or -6dB; or a step: +5%, -5%, 3dB+, 3dB-"},
      {"loud", "VOLUME: \"loud\" is not a volume; use 50%, 0.5 or -6dB; or a step: +5%, -5%, 3dB+, 3dB-"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(readVolume("VOLUME", text).error().description, expected);
  for (const char* text :
       {"%",   "dB",  "+",     "-",    "+%",   "%+",     "+5%-", "5%%", "5%dB", "--5%", "+-5%", "5-%",
        "nan", "inf", "infdB", "nan%", "0x10", "1e400%", "5 5%", " 5%", "5% ",  "0,5",  "5  %", "1_0%"})
    EXPECT_FALSE(readVolume("VOLUME", text)) << text;
}

TEST(VolumeTextTest, ALevelIsNoStepAndIsHeldToTheLargest) {
  EXPECT_EQ(readVolumeLevel("--volume a=50%", "50%")->gain, 0.5f);
  EXPECT_FALSE(readVolumeLevel("--volume a=400%", "400%")->note);
  const auto held = readVolumeLevel("--volume a=900%", "900%");
  EXPECT_EQ(held->gain, 4.0f);
  EXPECT_EQ(held->note, "--volume a=900%: held to 400 %, the largest volume");
  for (const char* step : {"+5%", "5%-", "3dB+"})
    EXPECT_NE(readVolumeLevel("--volume", step).error().description.find("is a step"), std::string::npos)
        << step;
  EXPECT_FALSE(readVolumeLevel("--volume", "30"));
}

}  // namespace
}  // namespace sonmere
