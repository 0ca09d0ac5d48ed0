#include "cli/BusText.h"

#include <gtest/gtest.h>

namespace sonmere {
namespace {

const TrackNames kNames = {{2, "Drums"}, {3, "Lead Vocal"}, {4, "track1"},
                           {5, "Keys"},  {6, "keys"},       {7, "bridge"}};

Outcome<std::optional<int>> read(const std::string& text) {
  return readBusOrOff("BUS", text, [] { return kNames; });
}

TEST(BusTextTest, ABusIsNamedByItsNameTheUsersNameOrItsNumber) {
  const std::pair<const char*, int> cases[] = {
      {"0", 0},      {"2", 2},       {"9", 9},       {"bridge", 0}, {"Bridge", 0},     {"track1", 2},
      {"TRACK8", 9}, {"Track 1", 2}, {"track 8", 9}, {"Drums", 2},  {"lead vocal", 3}, {"drums", 2}};
  for (const auto& [text, bus] : cases) EXPECT_EQ(*read(text), bus) << text;
  EXPECT_EQ(*read("off"), std::nullopt);
  EXPECT_EQ(*read("Track1"), 2) << "a user's name never hides what a text means by itself";
}

TEST(BusTextTest, TheUsersNamesAreAskedForOnlyWhereNeeded) {
  const auto never = []() -> TrackNames { throw std::runtime_error("asked"); };
  EXPECT_EQ(*readBus("BUS", "track3", never), 4);
  EXPECT_FALSE(readBus("BUS", "1", never));
  EXPECT_FALSE(readBus("BUS", "", never));
}

TEST(BusTextTest, WhatIsNoBusIsRefusedWithWhatThereIs) {
  for (const char* text :
       {"", "10", "-1", "2.0", "02", "track0", "track9", "track", "Track  1", "+2", "2 ", "all"})
    EXPECT_NE(read(text).error().description.find("is not a bus; use bridge, track1 to track8"),
              std::string::npos)
        << text;
  EXPECT_NE(read("1").error().description.find("bus 1 is the internal mic bus"), std::string::npos);
  EXPECT_EQ(read("KEYS").error().description,
            "BUS: \"KEYS\" is the name of Track 4 (bus 5) and Track 5 (bus 6); use the number");
  EXPECT_FALSE(readBus("BUS", "off", [] { return kNames; })) << "only where a bus can be left";
}

TEST(BusTextTest, EveryBusHasAWordThatMeansIt) {
  for (int bus : {0, 2, 3, 4, 5, 6, 7, 8, 9}) {
    EXPECT_EQ(busFromText(busWord(bus)), bus);
    EXPECT_EQ(busFromText(busName(bus)), bus);
  }
  EXPECT_EQ(busLabel(2), "Track 1 (bus 2)");
  EXPECT_EQ(busLabel(0), "Bridge (bus 0)");
}

}  // namespace
}  // namespace sonmere
