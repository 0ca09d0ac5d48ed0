#include "app/UpdateWatch.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

struct UpdateWatchTest : testing::Test {
  void wait(double hours) { runtime.advance(fromSeconds(hours * 3600)); }

  VirtualRuntime runtime{1};
  Log log;
  MemorySettingsStore settings;
  int asked = 0;
  Outcome<UpdateOffer> answer = UpdateOffer{"999.0", "https://example.invalid", ""};
  UpdateWatch watch{runtime, log, settings, [this] {
                      ++asked;
                      return answer;
                    }};
};

TEST_F(UpdateWatchTest, NothingIsAskedUntilTheUserWantsItAndThenOnceADay) {
  wait(50);
  EXPECT_EQ(asked, 0);
  settings.set(UpdateWatch::kSettingKey, true);
  wait(49);
  EXPECT_EQ(asked, 3);
  ASSERT_TRUE(*watch.offer);
  EXPECT_EQ((*watch.offer)->version, "999.0");
  settings.set(UpdateWatch::kLastCheckKey, "2199-01-01T00:00:00Z");
  wait(1.5);
  EXPECT_EQ(asked, 4) << "a clock that was wrong holds nothing up";
}

TEST_F(UpdateWatchTest, WhatIsOldDismissedOrDamagedIsNotTold) {
  settings.set(UpdateWatch::kSettingKey, true);
  settings.set(UpdateWatch::kDismissedKey, "999.0");
  wait(25);
  answer = UpdateOffer{"0.0.9", "", ""};
  wait(25);
  answer = std::unexpected(Error{"Updates", 1, "away"});
  wait(25);
  EXPECT_GE(asked, 3);
  EXPECT_FALSE(*watch.offer);
}

TEST(PlatformUpdates, AFeedIsReadFromAFileAndTrustedInNothing) {
  TemporaryFolder folder;
  const std::string file = folder / "feed.json";
  std::ofstream(file) << R"({"version":"0.10","url":"http://example.invalid","notes":"a\u001bb"})";
  const auto offer = fetchUpdate(file);
  ASSERT_TRUE(offer);
  EXPECT_EQ(offer->version, "0.10");
  EXPECT_EQ(offer->url, "") << "only safe addresses";
  EXPECT_EQ(offer->notes.find('\x1b'), std::string::npos);
  for (const char* damaged : {"", "[]", "{}", R"({"version":1})", R"({"version":"1; rm"})"})
    EXPECT_FALSE(parseUpdateFeed(damaged)) << damaged;
  for (const char* place : {"", "http://example.invalid/feed", "feed.json", "--config"})
    EXPECT_FALSE(fetchUpdate(place)) << place;
  EXPECT_TRUE(isNewerVersion("0.10", "0.9.1"));
  EXPECT_FALSE(isNewerVersion("1.0", "1.0.0"));
  EXPECT_FALSE(isNewerVersion("0.9", "0.9.1"));
}

}  // namespace
}  // namespace sonmere
