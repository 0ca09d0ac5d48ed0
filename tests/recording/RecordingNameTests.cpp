#include <gtest/gtest.h>

#include <random>
#include <regex>

#include "recording/RecordingFileName.h"

namespace sonmere {
namespace {

TEST(RecordingName, IsReadFromTheLastSeparatorOn) {
  const std::string name = "Mic \u2014 Desk \u2014 2026-01-31 23-59-58.m4a";
  const auto parts = parseRecordingName(name);
  ASSERT_TRUE(parts);
  EXPECT_EQ(parts->name, "Mic \u2014 Desk");
  EXPECT_EQ(parts->stamp, "2026-01-31 23-59-58");
  EXPECT_EQ(parts->format, RecordingFormat::m4a);
  EXPECT_EQ(recordingDisplayName("Sonmere Track 3"), "Track 3");
  EXPECT_EQ(recordingDisplayName("Renamed"), "Renamed");
  EXPECT_EQ(recordingDisplayName("Sonmere "), "Sonmere ");
}

// The form as a pattern, and names near it in every way.
TEST(RecordingName, AgreesWithThePatternOnNamesThatAreAlmostRight) {
  const std::regex pattern("^([^\\n\\r]+) \u2014 (\\d{4}-\\d{2}-\\d{2} \\d{2}-\\d{2}-\\d{2})\\.(wav|m4a)$");
  const std::string pieces[] = {" \u2014 ", "2026-01-31 23-59-58", ".wav", ".m4a", ".WAV", "a", "\u2014",
                                " ",        "2026-01-31",          "\n",   ".",    "9",    "-", ""};
  std::mt19937 random(5);
  int matches = 0;
  for (int i = 0; i < 200'000; ++i) {
    std::string name;
    const std::size_t count = random() % 7;
    for (std::size_t k = 0; k < count; ++k) name += pieces[random() % std::size(pieces)];
    // Half of them are right but for one byte, if at all.
    if (i % 2 == 0) {
      name = "x" + name + " \u2014 2026-01-31 23-59-58.wav";
      if (random() % 2) name[random() % name.size()] = "0 -.ax\n"[random() % 7];
    }
    std::smatch match;
    const bool isMatch = std::regex_match(name, match, pattern);
    const auto parts = parseRecordingName(name);
    ASSERT_EQ(parts.has_value(), isMatch) << name;
    if (!isMatch) continue;
    ++matches;
    ASSERT_EQ(parts->name, match[1].str()) << name;
    ASSERT_EQ(parts->stamp, match[2].str()) << name;
  }
  EXPECT_GT(matches, 10'000);
}

TEST(RecordingName, StampsReadBackAsTheDatesTheyWereMadeOf) {
  for (const int days : {0, 80, 90, 200, 300, 305}) {
    const Date date = std::chrono::sys_days{std::chrono::year{2026} / 1 / 1} + std::chrono::days(days) +
                      std::chrono::seconds(12345);
    EXPECT_EQ(dateOfStamp(recordingStamp(date)), date);
  }
  for (const char* stamp : {"2026-02-30 10-00-00", "2026-00-01 10-00-00", "2026-01-01 24-00-00",
                            "2026-01-01 10-60-00", "2026-01-01 10-00-60", "9999-01-01 00-00-00", "", "2026"})
    EXPECT_FALSE(dateOfStamp(stamp)) << stamp;
}

}  // namespace
}  // namespace sonmere
