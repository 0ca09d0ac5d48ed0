// The settings of the engines as files of users hold them: a key that is renamed or dropped would lose values
// in silence.

#include <gtest/gtest.h>

#include "app/FileSettingsStore.h"
#include "base/AtomicFile.h"
#include "base/VirtualRuntime.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

constexpr const char* kFile = R"({
  "sonmere.boostAllowed": true,
  "sonmere.eqSpectrumVisible": true,
  "sonmere.hiddenApps": ["org.talk"],
  "sonmere.removedApps": ["org.gone"],
  "sonmere.pinnedApps": ["org.beat"],
  "sonmere.cleanSlateMigration.v5": true,
  "sonmere.callAudio.visibilityOverride": "visible",
  "sonmere.perapp.enabledApps": ["org.away", "org.music"],
  "sonmere.perapp.volumes": {"org.away": 0.5, "org.music": 2.5},
  "sonmere.perapp.muted": {"org.away": true, "org.music": false},
  "sonmere.perapp.buses": {"org.away": 4, "org.music": 3},
  "sonmere.perapp.monitorVolumes": {"org.away": 0.25, "org.music": 0.75},
  "sonmere.perapp.monitorLinks": {"org.away": false, "org.music": false},
  "sonmere.perapp.outputDevices": {"org.away": "USBHeadset"},
  "sonmere.perapp.outputChannels": {"org.away": [2, 3]},
  "sonmere.perapp.globalEnabled": true,
  "sonmere.volumeMixer.isEnabled": true,
  "sonmere.volumeMixer.masterVolume": 1.5,
  "sonmere.volumeMixer.directApps": ["org.daw"],
  "sonmere.volumeMixer.dawHintSeen": ["com.cockos.reaper"]
})";

struct EngineSettingsTest : testing::Test {
  // The file's values into the world's settings, with the records that are kept as data.
  void begin() {
    const auto path = world.folder / "settings.json";
    ASSERT_TRUE(writeFileAtomically(path, kFile));
    {
      FileSettingsStore file(world.runtime, world.log, path);
      for (const std::string& key : file.keys()) world.settings.set(key, *file.object(key));
    }
    ASSERT_EQ(world.settings.keys().size(), 20u);
    const auto data = [&](const char* key, const char* json) { world.settings.set(key, SettingsData{json}); };
    data("sonmere.volumeMixer.appsState", R"({"org.beat":{"isMuted":true,"volume":3.0}})");
    data("sonmere.outputEQ", equaliser(4).c_str());
    data("sonmere.appEQSettings.org.music", equaliser(5).c_str());
    data("sonmere.appEQSettings.__master__3", equaliser(6).c_str());
    data("sonmere.appLimiterSettings.org.music", R"({"ceilingDb":-3,"isEnabled":true})");
    data("sonmere.masterLimiterSettings.3", R"({"ceilingDb":-6,"isEnabled":true})");
    for (const std::string& key : world.settings.keys()) before[key] = *world.settings.object(key);
    world.launch("org.music");
    world.launch("org.beat");
    world.start().startUp();
    world.runtime.advance(fromSeconds(1));
  }
  static std::string equaliser(int gain) {
    return R"({"highPassFreq":20,"isEnabled":true,"lowPassFreq":20000,"paraFreq":1000,"paraGain":)" +
           std::to_string(gain) + R"(,"paraQ":1})";
  }

  // A dictionary may have gained the entries of other apps.
  static bool holds(const SettingsValue& after, const SettingsValue& value) {
    const auto* expected = value.as<SettingsValue::Dictionary>();
    const auto* actual = after.as<SettingsValue::Dictionary>();
    if (!expected || !actual) return after == value;
    return std::ranges::all_of(*expected, [&](const auto& entry) {
      const auto found = actual->find(entry.first);
      return found != actual->end() && found->second == entry.second;
    });
  }

  AppWorld<VirtualRuntime> world{1};
  std::map<std::string, SettingsValue> before;
};

TEST_F(EngineSettingsTest, AFileIsReadAndWrittenBackAsItWas) {
  begin();
  AppTapEngine& engine = *world.app->appTapEngine();
  VolumeMixerEngine& mixer = *world.app->volumeMixerEngine();
  const auto music = engine.tapOf("org.music");
  ASSERT_TRUE(music);
  EXPECT_EQ(music->volume, 2.5f);
  EXPECT_EQ(music->monitorVolume, 0.75f);
  EXPECT_FALSE(music->levelFollowsVolume);
  EXPECT_EQ(music->busIndex, 3);
  EXPECT_TRUE(music->limiterEnabled);
  const TappedAppInfo* away = engine.row("org.away");
  ASSERT_TRUE(away);
  EXPECT_TRUE(engine.isRouteWaiting("org.away"));
  EXPECT_EQ(std::tuple(away->volume, away->isMuted, away->busIndex, away->monitorVolume, away->monitorLinked),
            std::tuple(0.5f, true, 4, 0.25f, false));
  EXPECT_EQ(std::tuple(away->outputDeviceUID, away->outputLeftChannel, away->outputRightChannel),
            std::tuple(std::optional<std::string>("USBHeadset"), 2, 3));
  EXPECT_EQ(engine.effects().equaliserOf("org.music").paraGain, 5);
  EXPECT_EQ(engine.effects().masterEQSettings.get()[3].paraGain, 6);
  EXPECT_EQ(engine.effects().masterLimiterSettings.get()[3].ceilingDb, -6);
  EXPECT_TRUE(engine.rowSets().hiddenBundleIDs().contains("org.talk"));
  EXPECT_FALSE(engine.rowSets().hiddenBundleIDs().contains("com.apple.avconferenced"));
  EXPECT_TRUE(engine.rowSets().removedBundleIDs().contains("org.gone"));
  EXPECT_TRUE(engine.rowSets().pinnedBundleIDs().contains("org.beat"));
  EXPECT_TRUE(world.app->context().flags.spectrumVisible);
  EXPECT_TRUE(*mixer.isEnabled);
  EXPECT_EQ(*mixer.masterVolume, 1.5f);
  EXPECT_EQ(mixer.appState("org.beat"), (VolumeMixerAppState{3, true}));
  EXPECT_TRUE(mixer.directBundleIDs->contains("org.daw"));
  EXPECT_TRUE(mixer.dawHintSeen->contains("com.cockos.reaper"));
  EXPECT_EQ(mixer.outputEQSettings->paraGain, 4);

  // A change and back writes all of it again.
  const auto there = [&](bool isBack) {
    engine.setVolume("org.music", isBack ? 2.5f : 1.0f);
    engine.setMonitorVolume("org.music", isBack ? 0.75f : 1.0f);
    engine.setMuted("org.music", !isBack);
    engine.setBus("org.music", isBack ? 3 : 5);
    mixer.setVolume("org.beat", isBack ? 3.0f : 1.0f);
    mixer.setMasterVolume(isBack ? 1.5f : 1.0f);
    mixer.setDirect("org.beat", !isBack);
    isBack ? engine.visibility().restore("org.beat") : engine.visibility().remove("org.beat");
    isBack ? engine.visibility().unhide("org.beat") : engine.visibility().hide("org.beat");
    isBack ? engine.visibility().unpin("org.music") : engine.visibility().pin("org.music");
    isBack ? engine.visibility().pin("org.beat") : engine.visibility().unpin("org.beat");
    world.runtime.advance(fromSeconds(1));
  };
  there(false);
  there(true);
  for (const auto& [key, value] : before) {
    const auto after = world.settings.object(key);
    EXPECT_TRUE(after && holds(*after, value)) << key;
  }
}

}  // namespace
}  // namespace sonmere
