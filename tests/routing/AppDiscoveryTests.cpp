#include <gtest/gtest.h>

#include "apps/FamilyRules.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

struct AppDiscoveryTest : testing::Test {
  SimulatedApp daemon(const std::string& bundleID, ProcessID responsible = 0) {
    SimulatedAppDescription description;
    description.bundleID = bundleID;
    description.hasApplicationObject = false;
    description.responsiblePID = responsible;
    return world.host().launchApp(description);
  }
  std::vector<std::string> rows() {
    std::vector<std::string> ids;
    for (const auto& row : *world.engine->availableApps) ids.push_back(row.bundleID);
    return ids;
  }
  using IDs = std::vector<std::string>;

  RoutingWorld world;
};

TEST_F(AppDiscoveryTest, FoldsProcessesIntoTheAppsThatPeopleKnow) {
  const auto browser = world.launch("com.vendor.browser", "Browser");
  daemon("com.vendor.browser.helper.Renderer");
  daemon("com.vendor.browser.helper");
  const auto safari = world.launch("com.apple.Safari", "Safari");
  for (int i = 0; i < 10; ++i) daemon("com.apple.WebKit.WebContent", safari.pid());
  const auto webApp = world.launch("com.apple.Safari.WebApp.1234", "Mail on the web");
  daemon("com.apple.WebKit.GPU", webApp.pid());
  daemon("com.apple.mediaremoted");
  daemon("systemsoundserverd");
  daemon("com.apple.sirittsd");
  daemon("com.apple.CoreSpeech");
  daemon("com.vendor.daemon.Speech");
  daemon("com.sonmere.ToneFerry.helper.Renderer");
  world.startEngine();
  EXPECT_EQ(rows(), (IDs{"com.vendor.browser", "com.apple.Safari", "com.apple.Safari.WebApp.1234",
                         "systemsoundserverd", "sonmere.siri.family", "com.vendor.daemon.Speech"}));
  EXPECT_EQ(world.row("com.vendor.browser").audioObjectIDs.size(), 3u);
  EXPECT_EQ(world.row("com.vendor.browser").id, browser.pid());
  EXPECT_EQ(world.row("com.vendor.browser").name, "Browser");
  EXPECT_EQ(world.row("com.apple.Safari").audioObjectIDs.size(), 11u);
  EXPECT_EQ(world.row("com.apple.Safari.WebApp.1234").audioObjectIDs.size(), 2u);
  EXPECT_EQ(world.row("systemsoundserverd").name, "System Sounds");
  EXPECT_EQ(world.row("systemsoundserverd").icon, "bell.fill");
  EXPECT_EQ(world.row("sonmere.siri.family").audioObjectIDs.size(), 2u);
  EXPECT_EQ(world.row("com.vendor.daemon.Speech").name, "Speech");
}

TEST_F(AppDiscoveryTest, WithoutKnownResponsibilityWebContentBelongsToTheBrowserOfTheSystem) {
  world.host().setResponsibilityKnown(false);
  const auto reader = world.launch("com.vendor.reader");
  daemon("com.apple.WebKit.WebContent", reader.pid());
  world.startEngine();
  EXPECT_EQ(rows(), (IDs{"com.vendor.reader", "com.apple.Safari"}));
}

TEST_F(AppDiscoveryTest, ABurstOfLaunchesIsOneRefresh) {
  world.startEngine();
  int refreshes = 0;
  const auto counted = world.engine->availableApps.observe([&](const auto&) { ++refreshes; });
  for (int i = 0; i < 50; ++i) world.launch("app" + std::to_string(i));
  world.wait(0.5);
  EXPECT_EQ(refreshes, 1);
  EXPECT_EQ(rows().size(), 50u);
}

// The application that answers for a process may come and go without any sound of its own.
TEST_F(AppDiscoveryTest, LaunchesAndEndsOfApplicationsAreHeardOfWithoutAChangeOfTheProcessList) {
  const auto helper = daemon("com.vendor.browser.helper");
  world.startEngine();
  EXPECT_EQ(world.row("com.vendor.browser").name, "browser");
  EXPECT_EQ(world.row("com.vendor.browser").id, helper.pid());
  SimulatedAppDescription description;
  description.bundleID = "com.vendor.browser";
  description.name = "Browser";
  description.hasAudioClient = false;
  auto browser = world.host().launchApp(description);
  world.settle();
  EXPECT_EQ(world.row("com.vendor.browser").name, "Browser");
  EXPECT_EQ(world.row("com.vendor.browser").id, browser.pid());
  browser.quit();
  world.settle();
  EXPECT_EQ(world.row("com.vendor.browser").id, helper.pid());
}

TEST_F(AppDiscoveryTest, AnUnreadableListLeavesTheRows) {
  world.launch("music");
  world.startEngine();
  world.host().faults().failNth(Operation::processObjects, 1, -50);
  world.launch("radio");
  world.settle();
  EXPECT_EQ(rows(), IDs{"music"});
  world.engine->refreshApps();
  EXPECT_EQ(rows(), (IDs{"music", "radio"}));
}

TEST_F(AppDiscoveryTest, PinnedRowsStayWithoutTheirAppAndRoutesReturnWithIt) {
  auto music = world.launch("music");
  world.startEngine();
  world.engine->visibility().pin("music");
  world.engine->setBus("music", 4);
  ASSERT_TRUE(world.engine->setRouted("music", true));
  music.quit();
  world.settle();
  ASSERT_EQ(rows(), IDs{"music"});
  EXPECT_TRUE(world.row("music").audioObjectIDs.empty());
  EXPECT_FALSE(world.row("music").isEnabled);
  EXPECT_EQ(world.host().counts().taps, 0u);
  world.launch("music");
  world.settle();
  EXPECT_TRUE(world.row("music").isEnabled);
  EXPECT_EQ(world.engine->tapOf("music")->busIndex, 4);

  world.engine->visibility().remove("music");
  EXPECT_EQ(rows(), IDs{"music"}) << "a pin outweighs a removal";
  world.engine->visibility().unpin("music");
  EXPECT_TRUE(rows().empty());
  EXPECT_EQ(world.host().counts().taps, 0u) << "a removed row leaves no tap";
  world.engine->visibility().restore("music");
  EXPECT_EQ(rows(), IDs{"music"});
}

// Without a pin too: the user finds the row, and what is set for it, while the app is away.
TEST_F(AppDiscoveryTest, ARoutedAppThatQuitsKeepsItsRowUntilItIsUnrouted) {
  auto music = world.launch("music"), radio = world.launch("radio");
  world.startEngine();
  ASSERT_TRUE(world.engine->setRouted("music", true));
  music.quit();
  radio.quit();
  world.settle();
  EXPECT_EQ(rows(), IDs{"music"});
  EXPECT_FALSE(world.row("music").isEnabled);
  world.engine->setRouted("music", false);
  world.engine->refreshApps();
  EXPECT_TRUE(rows().empty());
}

TEST_F(AppDiscoveryTest, WebContentThatBeginsToPlayAsksForARefresh) {
  auto content = daemon("com.apple.WebKit.WebContent");
  world.startEngine();
  world.settle();
  int refreshes = 0;
  const auto counted = world.engine->availableApps.observe([&](const auto&) { ++refreshes; });
  content.play(SampleSources::tone(300, 0.1f));
  world.settle();
  EXPECT_EQ(refreshes, 1);
}

TEST_F(AppDiscoveryTest, ANewHelperRebuildsTheTapAndKeepsItsValues) {
  const auto music = world.launch("music");
  world.startEngine();
  world.engine->setVolume("music", 0.3f);
  ASSERT_TRUE(world.engine->setRouted("music", true));
  EXPECT_TRUE(world.engine->monitors().setMonitored("music", true));
  const auto helper = daemon("music.helper");
  world.settle();
  EXPECT_TRUE(world.logged("Sonmere: music family changed (was 1 procs, now 2) — rebuilding tap"));
  EXPECT_EQ(helper.tapCount(), 1u);
  EXPECT_EQ(world.engine->tapOf("music")->volume, 0.3f);
  EXPECT_TRUE(world.engine->tapOf("music")->monitor.isEnabled());
  EXPECT_TRUE(helper.isSilenced()) << "a monitored tap is muted";
  world.host().faults().failNth(Operation::createIOProc, 1, -50);
  daemon("music.helper");
  world.settle();
  EXPECT_TRUE(world.logged("tap rebuild failed for music after family change — reverted to not-routed"));
  EXPECT_FALSE(world.row("music").isEnabled);
  world.wait(1.1);
  EXPECT_TRUE(world.row("music").isEnabled) << "what is still wished for is tried again";

  world.host().faults().failFrom(Operation::createIOProc, 1, -50);
  daemon("music.helper");
  world.wait(60);
  EXPECT_EQ(std::ranges::count_if(
                world.lines, [](const auto& line) { return line.contains("startTap failed for music"); }),
            5)
      << "for half a minute";
  world.host().faults().clear();
  world.host().restartService();
  world.wait(3);
  EXPECT_TRUE(world.row("music").isEnabled) << "and when the server is back";
}

TEST_F(AppDiscoveryTest, TheCallRowFollowsCallsUntilTheUserSaysOtherwise) {
  auto call = daemon("com.apple.avconferenced");
  world.startEngine();
  const auto isHidden = [&] {
    world.settle();
    return world.engine->hiddenBundleIDs()->contains("com.apple.avconferenced");
  };
  EXPECT_EQ(world.row("com.apple.avconferenced").name, "FaceTime Calls");
  EXPECT_TRUE(isHidden());
  call.play(SampleSources::tone(300, 0.1f));
  EXPECT_FALSE(isHidden());
  world.engine->visibility().hide("com.apple.avconferenced");
  EXPECT_TRUE(isHidden());
  EXPECT_EQ(world.settings.string("sonmere.callAudio.visibilityOverride"), "hidden");
  world.engine->visibility().unhide("com.apple.avconferenced");
  call.stop();
  EXPECT_FALSE(isHidden());
  world.engine->visibility().removeCallAudioOverride();
  EXPECT_TRUE(isHidden());
  world.engine->visibility().pin("com.apple.avconferenced");
  EXPECT_TRUE(world.engine->rowSets().pinnedBundleIDs().empty()) << "this row manages itself";
}

TEST_F(AppDiscoveryTest, TheCleanSlateRunsOnceAndTakesOnlySystemFamilies) {
  MemorySettingsStore settings;
  settings.setStringSet("sonmere.pinnedApps", {"systemsoundserverd", "music"});
  settings.setStringSet("sonmere.hiddenApps", {"com.apple.avconferenced", "radio"});
  settings.set("didAutoRegisterLoginItem", true);
  settings.set("sonmere.pending28RoutingWiped", true);
  const RowSets migrated(settings);
  EXPECT_EQ(settings.stringSet("sonmere.pinnedApps"), std::set<std::string>{"music"});
  EXPECT_EQ(settings.stringSet("sonmere.hiddenApps"), std::set<std::string>{"radio"});
  EXPECT_TRUE(settings.boolValue("sonmere.pending28Note"));
  EXPECT_FALSE(settings.object("sonmere.pending28RoutingWiped"));
  EXPECT_TRUE(settings.boolValue("sonmere.cleanSlateMigration.v5"));

  settings.setStringSet("sonmere.pinnedApps", {"systemsoundserverd"});
  settings.remove("sonmere.pending28Note");
  const RowSets again(settings);
  EXPECT_EQ(again.pinnedBundleIDs(), std::set<std::string>{"systemsoundserverd"});
  EXPECT_FALSE(settings.object("sonmere.pending28Note"));

  MemorySettingsStore fresh;
  const RowSets first(fresh);
  EXPECT_TRUE(fresh.boolValue("sonmere.cleanSlateMigration.v5"));
  EXPECT_FALSE(fresh.object("sonmere.pending28Note"));
}

TEST_F(AppDiscoveryTest, OnlyBrowsersWebAppsCarryTheNote) {
  using namespace FamilyRules;
  const std::string letters = "abcdefghijklmnopabcdefghijklmnop";
  EXPECT_TRUE(needsWebAppNote("com.vendor.browser.app." + letters));
  EXPECT_FALSE(needsWebAppNote("com.vendor.browser.app." + letters.substr(1)));
  EXPECT_FALSE(needsWebAppNote("com.vendor.browser.app.q" + letters.substr(1)));
  EXPECT_FALSE(needsWebAppNote(letters));
  EXPECT_NE(webAppNote("Browser").find("Use the Browser row instead."), std::string::npos);
}

}  // namespace
}  // namespace sonmere
