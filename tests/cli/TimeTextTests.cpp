#include "cli/TimeText.h"

#include <gtest/gtest.h>

namespace sonmere {
namespace {

TEST(TimeText, TimesAreSecondsOrHaveMinutesAndHoursBefore) {
  for (const auto& [text, seconds] : {std::pair{"0", 0.0},
                                      {"90", 90.0},
                                      {"1.5", 1.5},
                                      {"1:30", 90.0},
                                      {"90:00", 5400.0},
                                      {"1:00:00.25", 3600.25}}) {
    const auto time = readTime("--x", text);
    ASSERT_TRUE(time) << text;
    EXPECT_EQ(*time, seconds) << text;
  }
  for (const char* text : {"", "-1", "+1", "1:99:99", "1:60", "1.5:00", "1:2:3:4", "1:", ":1", "1s", "nan",
                           "inf", "1e3", ".", "1.2.3", "99999999999999999999", " 1", "0x10", "1,5"}) {
    const auto time = readTime("--x", text);
    ASSERT_FALSE(time) << text;
    EXPECT_TRUE(time.error().description.starts_with("--x: ")) << time.error().description;
  }
}

TEST(TimeText, ARangeIsOfPlainSecondsOrHasADash) {
  const auto range = [](const char* text) { return readTimeRange("--trim", text); };
  for (const auto& [text, from, until] : {std::tuple{"1:3", 1.0, std::optional(3.0)},
                                          {"0.5:2.25", 0.5, std::optional(2.25)},
                                          {"10:", 10.0, std::optional<double>()},
                                          {":10", 0.0, std::optional(10.0)},
                                          {"0:01:00-0:02:30", 60.0, std::optional(150.0)},
                                          {"60-90", 60.0, std::optional(90.0)},
                                          {"1:00-", 60.0, std::optional<double>()},
                                          {"0-1:00", 0.0, std::optional(60.0)}}) {
    const auto times = range(text);
    ASSERT_TRUE(times) << text;
    EXPECT_EQ(times->from, from) << text;
    EXPECT_EQ(times->until, until) << text;
  }
  for (const char* text : {"", ":", "-", "5", "1:2:3", "0:01:00", "1-2-3", "3:1", "2:2", "nan:1", "1:x",
                           "--1", "-3:5", "-1:00", "-5"})
    EXPECT_FALSE(range(text)) << text;
}

}  // namespace
}  // namespace sonmere
