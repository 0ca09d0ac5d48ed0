#include <gtest/gtest.h>

#include "app/WelcomeSheet.h"

namespace sonmere {
namespace {

TEST(WelcomeSheet, ANewInstallIsNotWelcomedNowOrLater) {
  MemorySettingsStore settings;
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::none);
  settings.set("didAutoRegisterLoginItem", true);
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::none);
}

TEST(WelcomeSheet, AnUpgradeShowsItsNoteOnceAndNothingElse) {
  MemorySettingsStore settings;
  settings.set("didAutoRegisterLoginItem", true);
  settings.set("sonmere.pending28Note", true);
  settings.set("sonmere.welcome.v2_9_9_pending", true);
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::routingNote);
  EXPECT_FALSE(settings.object("sonmere.pending28Note"));
  EXPECT_FALSE(settings.object("sonmere.welcome.v2_9_9_pending"));
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::none);
}

TEST(WelcomeSheet, AnUpgradeWithoutANoteIsWelcomedOnce) {
  MemorySettingsStore settings;
  settings.set("didAutoRegisterLoginItem", true);
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::welcome);
  settings.set("sonmere.welcome.v2_9_9_pending", true);
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::whatIsNew);
  EXPECT_EQ(chooseWelcomeSheet(settings), WelcomeSheet::none);
}

}  // namespace
}  // namespace sonmere
