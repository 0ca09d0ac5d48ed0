#include <gtest/gtest.h>

#include "support/MixerWorld.h"

namespace sonmere {
namespace {

constexpr const char* kAppsState = "sonmere.volumeMixer.appsState";

class VolumeMixerStateTest : public testing::Test {
 protected:
  void relaunch() {
    world.mixer.reset();
    world.makeMixer();
  }
  std::string stored() const { return world.settings.data(kAppsState).value_or(""); }

  MixerWorld world;
};

// Counts what is written under one key.
class CountingSettings final : public SettingsStore {
 public:
  std::optional<SettingsValue> object(std::string_view key) const override { return store.object(key); }
  void set(std::string_view key, SettingsValue value) override {
    ++writes[std::string(key)];
    store.set(key, std::move(value));
  }
  void remove(std::string_view key) override { store.remove(key); }
  std::vector<std::string> keys() const override { return store.keys(); }

  MemorySettingsStore store;
  std::map<std::string, int> writes;
};

TEST_F(VolumeMixerStateTest, EverythingSurvivesARelaunch) {
  world.startMixer();
  world.mixer->setVolume("music", 2.5f);
  world.mixer->setMuted("game", true);
  world.mixer->setMasterVolume(1.5f);
  world.mixer->setDirect("daw", true);
  relaunch();
  EXPECT_TRUE(*world.mixer->isEnabled);
  EXPECT_EQ(world.mixer->appState("music"), (VolumeMixerAppState{2.5f, false}));
  EXPECT_EQ(world.mixer->appState("game"), (VolumeMixerAppState{1.0f, true}));
  EXPECT_EQ(*world.mixer->masterVolume, 1.5f);
  EXPECT_TRUE(world.mixer->directBundleIDs->contains("daw"));
  world.mixer->setEnabled(false);
  relaunch();
  EXPECT_FALSE(*world.mixer->isEnabled);
}

TEST_F(VolumeMixerStateTest, ADragIsWrittenOnceAndAMuteAtOnce) {
  CountingSettings settings;
  EngineContext context{world.runtime,  world.log,   settings,       world.notifications,
                        world.platform, world.flags, *world.micSend, Folders{}};
  VolumeMixerEngine mixer(context, world.trackNames);
  for (int i = 0; i < 1000; ++i) {
    mixer.setVolume("music", float(i) / 1000);
    world.wait(0.001);
  }
  EXPECT_EQ(settings.writes[kAppsState], 0);
  world.wait(0.6);
  EXPECT_EQ(settings.writes[kAppsState], 1);
  mixer.setMuted("music", true);
  EXPECT_EQ(settings.writes[kAppsState], 2);
  EXPECT_EQ(settings.data(kAppsState), R"({"music":{"isMuted":true,"volume":0.9990000128746033}})");
}

TEST_F(VolumeMixerStateTest, AQuitWithinHalfASecondOfADragSavesIt) {
  world.startMixer();
  world.mixer->setVolume("music", 0.25f);
  world.wait(0.1);
  EXPECT_EQ(stored(), "");
  world.host().endSession();
  world.runtime.settle();
  EXPECT_EQ(stored(), R"({"music":{"isMuted":false,"volume":0.25}})");

  world.mixer->setVolume("music", 0.75f);
  world.mixer.reset();
  EXPECT_EQ(stored(), R"({"music":{"isMuted":false,"volume":0.75}})");
}

TEST_F(VolumeMixerStateTest, DamagedValuesReadAsAbsent) {
  world.settings.set(kAppsState, SettingsData{R"({"music":{"volume":"loud"}})"});
  world.settings.set("sonmere.outputEQ", SettingsData{"{"});
  world.settings.set("sonmere.volumeMixer.masterVolume", "loud");
  world.startMixer();
  EXPECT_TRUE(world.mixer->appsState->empty());
  EXPECT_EQ(*world.mixer->outputEQSettings, AppEQSettings{});
  EXPECT_EQ(*world.mixer->masterVolume, 1.0f);
  EXPECT_TRUE(std::ranges::any_of(world.lines, [](const std::string& line) {
    return line.starts_with("Failed to decode persisted state: ");
  }));
  // A name that is no text can't be written; what was stored stays.
  world.mixer->setMuted("music", true);
  const std::string before = stored();
  world.mixer->setMuted("\xff", true);
  EXPECT_EQ(stored(), before);
  EXPECT_TRUE(std::ranges::any_of(
      world.lines, [](const std::string& line) { return line.starts_with("Failed to encode state: "); }));
}

TEST_F(VolumeMixerStateTest, WithoutBoostVolumesAreLoweredForGood) {
  world.startMixer();
  world.mixer->setVolume("music", 3.0f);
  world.mixer->setVolume("game", 0.5f);
  world.mixer->setMasterVolume(2.0f);
  world.engine->setBoostAllowed(false);
  EXPECT_EQ(world.mixer->appState("music").volume, 1.0f);
  EXPECT_EQ(world.mixer->appState("game").volume, 0.5f);
  EXPECT_EQ(*world.mixer->masterVolume, 1.0f);
  EXPECT_EQ(world.settings.number("sonmere.volumeMixer.masterVolume"), 1.0);
  world.mixer->setVolume("game", 4.0f);
  EXPECT_EQ(world.mixer->appState("game").volume, 1.0f);
  world.engine->setBoostAllowed(true);
  EXPECT_EQ(world.mixer->appState("music").volume, 1.0f);

  // What another version stored above the limit is held to it.
  world.settings.set("sonmere.boostAllowed", false);
  world.settings.set(kAppsState, SettingsData{R"({"music":{"volume":3.0,"isMuted":false}})"});
  world.settings.set("sonmere.volumeMixer.masterVolume", 2.0);
  world.mixer.reset();
  world.settings.set(kAppsState, SettingsData{R"({"music":{"volume":3.0,"isMuted":false}})"});
  world.makeMixer();
  EXPECT_EQ(world.mixer->appState("music").volume, 1.0f);
  EXPECT_EQ(*world.mixer->masterVolume, 1.0f);
}

TEST_F(VolumeMixerStateTest, TrackNamesAndGainsAreKept) {
  TrackNamesStore store(world.settings);
  EXPECT_TRUE(store.setTrackName(2, "Voice"));
  EXPECT_FALSE(store.setTrackName(1, "Mic"));
  EXPECT_FALSE(store.setTrackName(10, "Nothing"));
  store.setClientGains({{"siri", 0.5f}});
  TrackNamesStore again(world.settings);
  EXPECT_EQ(*again.trackNames, (std::map<int, std::string>{{2, "Voice"}}));
  EXPECT_EQ(*again.clientGains, (std::map<std::string, float>{{"siri", 0.5f}}));
  again.setTrackName(2, "");
  EXPECT_TRUE(TrackNamesStore(world.settings).trackNames->empty());
  int told = 0;
  const auto subscription = again.clientGains.observe([&](const auto&) { ++told; });
  again.reapply();
  EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace sonmere
