#include <gtest/gtest.h>

#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

constexpr const char* kProfiles = "sonmere.perapp.profiles";

class RoutingProfileTest : public testing::Test {
 protected:
  RoutingProfileTest() {
    music = world.launch("music");
    game = world.launch("game");
    world.startEngine();
  }
  AppTapEngine& engine() { return *world.engine; }
  bool isRouted(const std::string& app) { return engine().tapOf(app) != nullptr; }
  void relaunch() {
    world.engine.reset();
    world.startEngine();
    world.settle();
  }

  RoutingWorld world;
  SimulatedApp music, game;
};

TEST_F(RoutingProfileTest, AProfileRestoresTheWholeRouting) {
  engine().setRouted("music", true);
  engine().setBus("music", 3);
  engine().setVolume("music", 0.5f);
  engine().setMuted("music", true);
  const auto show = engine().saveProfile("Show");
  ASSERT_TRUE(show);
  EXPECT_EQ(show->apps, (std::vector<AppProfileEntry>{{"music", 0.5f, true, 3}}));

  engine().setRouted("game", true);
  engine().setBus("music", 2);
  engine().setVolume("music", 1.0f);
  engine().setMuted("music", false);
  EXPECT_TRUE(engine().applyProfile(show->id));
  EXPECT_FALSE(isRouted("game")) << "not named";
  EXPECT_FALSE(world.row("game").isEnabled);
  EXPECT_FALSE(game.isSilenced());
  const auto tap = engine().tapOf("music");
  ASSERT_TRUE(tap);
  EXPECT_EQ(tap->busIndex, 3);
  EXPECT_EQ(tap->volume, 0.5f);
  EXPECT_TRUE(tap->isMuted);
  EXPECT_TRUE(music.isSilenced());
  EXPECT_EQ(world.row("music").busIndex, 3);
  EXPECT_EQ(world.row("music").volume, 0.5f);
  EXPECT_TRUE(engine().isBusRunning(3));
  EXPECT_FALSE(engine().isBusRunning(2));

  relaunch();
  EXPECT_TRUE(isRouted("music"));
  EXPECT_FALSE(isRouted("game"));
}

// A named app that does not run is armed when it appears, and one that is not named no longer is.
TEST_F(RoutingProfileTest, AppsThatDoNotRunAreWishedFor) {
  engine().setRouted("music", true);
  engine().setBus("music", 4);
  const auto profile = engine().saveProfile("One");
  engine().setRouted("music", false);
  engine().setRouted("game", true);
  music.quit();
  game.quit();
  world.settle();
  EXPECT_TRUE(engine().applyProfile(profile->id));
  music = world.launch("music");
  game = world.launch("game");
  world.settle();
  EXPECT_TRUE(isRouted("music"));
  EXPECT_EQ(engine().tapOf("music")->busIndex, 4);
  EXPECT_FALSE(isRouted("game"));
}

TEST_F(RoutingProfileTest, AnAppThatCannotBeRoutedIsTold) {
  engine().setRouted("music", true);
  const auto profile = engine().saveProfile("One");
  engine().setRouted("music", false);
  world.host().faults().failNth(Operation::createProcessTap, 1, -50);
  EXPECT_FALSE(engine().applyProfile(profile->id));
  EXPECT_EQ(world.error(), "Failed to tap music: error -50");
  EXPECT_FALSE(world.row("music").isEnabled);
  EXPECT_FALSE(engine().applyProfile("nobody"));
}

TEST_F(RoutingProfileTest, TheListIsWrittenAtEveryChange) {
  engine().setRouted("music", true);
  const auto first = engine().saveProfile("First");
  EXPECT_FALSE(engine().saveProfile(" "));
  EXPECT_EQ(world.settings.data(kProfiles),
            R"([{"apps":[{"bundleID":"music","busIndex":0,"isMuted":false,"volume":1.0}],)"
            R"("createdAt":"2026-01-01T12:00:00Z","id":")" +
                first->id + R"(","name":"First"}])");
  const auto second = engine().saveProfile("Second");
  relaunch();
  EXPECT_EQ(*engine().profiles(), (std::vector{*first, *second}));
  EXPECT_TRUE(engine().deleteProfile(first->id));
  EXPECT_FALSE(engine().deleteProfile(first->id));
  relaunch();
  EXPECT_EQ(*engine().profiles(), std::vector{*second});

  for (const char* damaged : {"{", "[{}]", R"([{"id":"1","name":"x","apps":[],"createdAt":"soon"}])"}) {
    world.settings.set(kProfiles, SettingsData{damaged});
    relaunch();
    EXPECT_TRUE(engine().profiles()->empty());
  }
  EXPECT_TRUE(engine().saveProfile("Third"));
  relaunch();
  EXPECT_EQ(engine().profiles()->size(), 1u);
}

TEST_F(RoutingProfileTest, ValuesOutsideTheTableAreHeldToIt) {
  world.settings.set(kProfiles, SettingsData{R"([{"id":"1","name":"x","createdAt":"2026-01-01T12:00:00Z",)"
                                             R"("apps":[{"bundleID":"music","volume":9,"isMuted":false,)"
                                             R"("busIndex":77}]}])"});
  relaunch();
  EXPECT_TRUE(engine().applyProfile("1"));
  EXPECT_EQ(engine().tapOf("music")->volume, 4.0f);
  EXPECT_EQ(engine().tapOf("music")->busIndex, kBridgeBus);
}

// The switch for routing as a whole stops everything and forgets nothing.
TEST_F(RoutingProfileTest, GlobalOffKeepsTheWishes) {
  EXPECT_TRUE(engine().isGlobalEnabled()) << "without a value it is on";
  engine().setRouted("music", true);
  engine().setGlobalEnabled(false);
  EXPECT_FALSE(isRouted("music"));
  EXPECT_FALSE(world.row("music").isEnabled);
  EXPECT_EQ(world.host().counts().taps, 0u);
  EXPECT_EQ(world.settings.optionalBool("sonmere.perapp.globalEnabled"), false);
  EXPECT_TRUE(engine().setRouted("game", true)) << "wished for, until it is on again";
  EXPECT_FALSE(isRouted("game"));
  music.quit();
  world.settle();
  music = world.launch("music");
  relaunch();
  EXPECT_FALSE(isRouted("music"));
  engine().setGlobalEnabled(true);
  EXPECT_TRUE(isRouted("music"));
  EXPECT_TRUE(isRouted("game"));
}

}  // namespace
}  // namespace sonmere
