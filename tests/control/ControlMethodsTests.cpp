#include "control/ControlMethods.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/SettingsTable.h"
#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingReader.h"
#include "support/AppWorld.h"
#include "support/RoutingInsides.h"

namespace sonmere {
namespace {

struct ControlMethodsTest : testing::Test {
  ControlMethodsTest() {
    for (const char* id : {"org.music", "org.talk", "org.beat"}) world.launch(id);
    world.app->startUp();
    world.platform.embedded()->playAll();
    wait(1);
  }
  void wait(double seconds) { world.runtime.advance(fromSeconds(seconds)); }
  Outcome<ControlJSON> call(const std::string& method, const std::string& params = "{}") {
    std::optional<Outcome<ControlJSON>> result;
    const bool isKnown =
        methods.call(method, ControlJSON::parse(params), peer, [&](auto answer) { result = answer; });
    if (!isKnown) return std::unexpected(Error{"Test", kMethodNotFound, "no method"});
    for (int i = 0; i < 300 && !result; ++i) wait(0.1);
    return result.value_or(std::unexpected(Error{"Test", 0, "no answer"}));
  }
  const TappedAppInfo* engineRow(const char* id) { return world.app->appTapEngine()->row(id); }
  // The error's code, 0 for none.
  int code(const std::string& method, const std::string& params) {
    const auto result = call(method, params);
    return result ? 0 : controlErrorCode(result.error());
  }

  struct Peer : ControlPeer {
    ControlJSON subscribe(const TopicSet& topics) override {
      subscribed = topics;
      return ControlJSON::object();
    }
    void unsubscribe(const TopicSet& topics) override {
      for (const Topic topic : topics) subscribed.erase(topic);
    }
    void watch(std::optional<Duration> wanted, const std::string& of) override {
      interval = wanted;
      spectrum = of;
    }
    TopicSet subscribed;
    std::optional<Duration> interval;
    std::string spectrum;
  } peer;
  AppWorld<VirtualRuntime> world{1};
  bool hasQuit = false;
  Control control{world.start(), world.platform, [this] { hasQuit = true; }};
  ControlMethods methods{control};
};

TEST_F(ControlMethodsTest, AVolumeIsThatOfTheRouteForARoutedAppElseThatOfTheMixer) {
  AppTapEngine& engine = *world.app->appTapEngine();
  VolumeMixerEngine& mixer = *world.app->volumeMixerEngine();
  EXPECT_EQ((*call("route", R"({"app":"music","bus":2})"))["notes"].dump(), "[]") << "it plays";
  EXPECT_EQ((*call("volume", R"({"app":"music","volume":0.5})"))["app"]["volume"], 0.5);
  EXPECT_EQ(engine.tapOf("org.music")->volume.load(), 0.5f);
  EXPECT_EQ(mixer.appState("org.music").volume, 1.0f);

  EXPECT_EQ((*call("volume", R"({"app":"talk","volume":0.25})"))["app"]["volume"], 0.25);
  EXPECT_EQ(mixer.appState("org.talk").volume, 0.25f);
  EXPECT_EQ(engine.row("org.talk")->volume, 1.0f);

  EXPECT_EQ((*call("mute", R"({"app":"talk","toggle":true})"))["app"]["muted"], true);
  EXPECT_TRUE(mixer.appState("org.talk").isMuted);
  EXPECT_EQ((*call("mute", R"({"app":"music","muted":true})"))["app"]["muted"], true);
  EXPECT_TRUE(engine.row("org.music")->isMuted);
}

TEST_F(ControlMethodsTest, ValuesOutOfRangeAreHeldAndTold) {
  const auto loud = *call("volume", R"({"app":"talk","volume":9})");
  EXPECT_EQ(loud["app"]["volume"], 4.0);
  ASSERT_EQ(loud["notes"].size(), 2u) << loud["notes"];
  EXPECT_EQ(loud["notes"][0], "volume held to 400 %");
  EXPECT_TRUE(loud["notes"][1].get<std::string>().starts_with("kept for later"))
      << "nobody has the app in hand";
  EXPECT_EQ((*call("volume", R"({"app":"talk","step":-9})"))["app"]["volume"], 0.0);
  const auto eq = *call("equaliser", R"({"app":"talk","equaliser":{"bellDb":-99,"highPassHz":1}})");
  EXPECT_EQ(eq["app"]["equaliser"]["bellDb"], -24.0);
  EXPECT_EQ(eq["app"]["equaliser"]["highPassHz"], 20.0);
  EXPECT_EQ(eq["app"]["equaliser"]["enabled"], true);
  EXPECT_EQ(eq["notes"].size(), 3u);
  EXPECT_EQ((*call("equaliser", R"({"app":"talk","equaliser":null})"))["app"]["equaliser"]["enabled"], false);
  const auto limited = *call("limiter", R"({"app":"talk","ceilingDb":5})");
  EXPECT_EQ(limited["app"]["limiter"]["ceilingDb"], 0.0);
  EXPECT_EQ(limited["notes"].size(), 2u) << "held, and kept for later";

  ASSERT_TRUE(call("mixer.boost", R"({"allowed":false})"));
  EXPECT_EQ((*call("volume", R"({"app":"talk","volume":2})"))["notes"][0], "volume held to 100 %");
  EXPECT_EQ((*call("mixer.master", R"({"volume":3})"))["mixer"]["masterVolume"], 1.0);
}

TEST_F(ControlMethodsTest, AStepInDecibelsIsTakenFromThePresentVolume) {
  (void)call("volume", R"({"app":"talk","volume":0.5})");
  EXPECT_NEAR(double((*call("volume", R"({"app":"talk","stepDb":6})"))["app"]["volume"]), 0.5 * 1.995262,
              1e-6);
  (void)call("volume", R"({"app":"talk","volume":0})");
  EXPECT_EQ((*call("volume", R"({"app":"talk","stepDb":6})"))["app"]["volume"], 0.0);
  (void)call("mixer.master", R"({"volume":1})");
  EXPECT_NEAR(double((*call("mixer.master", R"({"stepDb":-20})"))["mixer"]["masterVolume"]), 0.1, 1e-6);
}

TEST_F(ControlMethodsTest, AnAppIsPutOnADeviceOfItsOwnAndTakenBackByItsRoute) {
  const auto change = *call("output", R"({"app":"music","device":"headset"})");
  EXPECT_EQ(change["app"]["output"].dump(),
            R"({"device":"USBHeadset","name":"USB Headset","left":1,"right":2,"playing":true})");
  EXPECT_EQ(change["notes"].dump(), "[]");
  EXPECT_EQ((*call("routing"))["buses"][0]["apps"].dump(), "[]") << "it is on no bus";
  EXPECT_EQ((*call("output", R"({"app":"music","device":"headset","left":3,"right":4})"))["notes"].dump(),
            R"x(["USB Headset has 2 output channels — pair 3/4 unavailable, using 1–2 (intent kept)"])x");
  EXPECT_EQ((*call("route", R"({"app":"music","bus":4})"))["app"]["output"], nullptr);
  EXPECT_EQ((*call("routing"))["buses"][3]["apps"].dump(), R"(["org.music"])");
  ASSERT_TRUE(call("output", R"({"app":"music","device":"headset"})"));
  const auto back = *call("output", R"({"app":"music"})");
  EXPECT_EQ(std::pair(back["app"]["output"], back["app"]["bus"]),
            std::pair(ControlJSON(nullptr), ControlJSON(4)));
  ASSERT_TRUE(call("routing.enable", R"({"enabled":false})"));
  EXPECT_EQ((*call("output", R"({"app":"talk","device":"speak"})"))["notes"].dump(),
            R"(["kept for later: routing is off"])");
  for (const char* refused :
       {R"({"app":"music","device":"Track 1"})", R"({"app":"music","device":"nothing"})",
        R"({"app":"music","device":"headset","left":2,"right":2})",
        R"({"app":"music","device":"headset","left":0})", R"({"app":"music","device":"headset","right":65})"})
    EXPECT_FALSE(call("output", refused)) << refused;
  EXPECT_EQ((*call("app", R"({"app":"music"})"))["output"], nullptr) << "nothing came of that";
}

TEST_F(ControlMethodsTest, SystemAudioAndMixModeEndEachOtherAndSayWhatIsKeptForLater) {
  ASSERT_TRUE(call("route", R"({"app":"music","bus":4})"));
  ASSERT_TRUE(call("monitor.select", R"({"device":"headset"})"));
  ASSERT_TRUE(call("system.select", R"({"device":"speak"})"));
  EXPECT_EQ((*call("system.enable", R"({"enabled":true})"))["system"]["whole"], true);
  const auto mixed = *call("mix.enable", R"({"enabled":true})");
  EXPECT_EQ(mixed["notes"].dump(), R"(["system audio is off: both would capture everything that plays"])");
  EXPECT_EQ(mixed["mix"]["apps"].dump(),
            R"([{"id":"org.music","name":"org.music","hear":1.0,"stream":1.0,"linked":true}])");
  EXPECT_EQ((*call("monitor"))["running"], true);
  EXPECT_EQ((*call("mix.hear", R"({"app":"music","volume":0.5})"))["mix"]["apps"][0]["hear"], 0.5);
  EXPECT_EQ((*call("mix.trackVolume", R"({"track":3,"volume":0.5})"))["notes"].dump(),
            R"(["kept for later: Mix Mode does not hear Tracks that other programs feed"])");
  const auto tracks = (*call("mix.track", R"({"track":3,"muted":true})"))["mix"]["tracks"];
  EXPECT_EQ(tracks[2].dump(), R"({"track":3,"volume":0.5,"muted":true})");
  EXPECT_EQ(tracks[3].dump(), R"({"track":4,"volume":1.0,"muted":false})");
  for (const char* refused : {R"({"track":0,"muted":true})", R"({"track":9,"muted":true})"})
    EXPECT_EQ(code("mix.track", refused), kInvalidParams) << refused;
  EXPECT_EQ((*call("system.enable", R"({"enabled":true})"))["notes"].dump(),
            R"(["Mix Mode is off: both would capture everything that plays"])");
  EXPECT_EQ((*call("mix.catchAll", R"({"enabled":true})"))["notes"].dump(),
            R"(["kept for later: Mix Mode is off"])");
  EXPECT_EQ((*call("system.enable", R"({"enabled":false})"))["system"]["enabled"], false);
  EXPECT_EQ((*call("daw.enable", R"({"enabled":true})"))["daw"]["outputs"], 16);
  const auto combined = (*call("combine", R"({"devices":["headset","built-in mic"]})"))["daw"]["combined"];
  EXPECT_EQ(std::pair(combined["name"], combined["members"][1]["first"]),
            std::pair(ControlJSON("Sonmere Combined Input"), ControlJSON(2)));
  EXPECT_EQ(code("combine", R"({"devices":["headset","headset"]})"), kInvalidParams);
}

TEST_F(ControlMethodsTest, ATrackCanBeGivenANameThatMeansNothingElse) {
  EXPECT_EQ((*call("bus", R"({"bus":4})"))["givenName"], nullptr);
  const auto named = *call("bus.rename", R"({"bus":4,"name":"Drums"})");
  EXPECT_EQ(named["givenName"], "Drums");
  EXPECT_EQ(named["name"], "Track 3");
  EXPECT_EQ((*call("routing"))["buses"][3]["givenName"], "Drums");
  EXPECT_EQ((*world.app->trackNames().trackNames), (std::map<int, std::string>{{4, "Drums"}}))
      << "what a driver shows";
  for (const char* refused :
       {R"({"bus":0,"name":"X"})", R"({"bus":1,"name":"X"})", R"({"bus":10,"name":"X"})",
        R"({"bus":5,"name":"drums"})", R"({"bus":5,"name":"track1"})", R"({"bus":5,"name":"off"})",
        R"({"bus":5,"name":"a\u001b"})"})
    EXPECT_EQ(code("bus.rename", refused), kInvalidParams) << refused;
  EXPECT_EQ((*call("bus.rename", R"({"bus":4,"name":""})"))["givenName"], nullptr) << "its own name again";
}

TEST_F(ControlMethodsTest, WrongParametersDoNothingAndSayWhy) {
  const auto before = *call("apps");
  const std::pair<const char*, const char*> cases[] = {
      {"volume", R"({"app":"talk"})"},
      {"volume", R"({"app":"talk","volume":"loud"})"},
      {"volume", R"({"app":7,"volume":1})"},
      {"volume", R"({"app":"talk","volume":1,"extra":2})"},
      {"mute", R"({"app":"talk","muted":1})"},
      {"route", R"({"app":"talk","bus":1})"},
      {"route", R"({"app":"talk","bus":2.5})"},
      {"route", R"({"app":"talk","bus":1e300})"},
      {"route", R"({"app":"talk"})"},
      {"equaliser", R"({"app":"talk","equaliser":{"treble":1}})"},
      {"equaliser", R"({"app":"talk","equaliser":[]})"},
      {"status", R"({"verbose":true})"},
      {"record.start", R"({"bus":1})"},
      {"record.start", R"({"bus":5})"},
      {"profile.save", R"({"name":""})"},
      {"profile.save", R"({"name":"a\u0000b"})"},
      {"profile.save", R"({"name":"a\u001b[31m"})"},
      {"profile.save", R"({"name":"a\u0085"})"},
      {"hello", R"({"protocol":1.5})"},
      {"subscribe", R"({"topics":["apps","weather"]})"},
      {"subscribe", R"({"topics":"apps"})"},
      {"watch", R"({"rate":0})"},
      {"watch", R"({"rate":1000})"},
  };
  for (const auto& [method, params] : cases)
    EXPECT_EQ(code(method, params), kInvalidParams) << method << params;
  EXPECT_EQ(code("volume", R"({"app":"nobody","volume":1})"), kAppNotFound);
  EXPECT_EQ(code("volume", R"({"app":"org","volume":1})"), kAppAmbiguous);
  EXPECT_EQ(code("profile.apply", R"({"name":"none"})"), kAppNotFound);
  EXPECT_EQ(code("record.stop", R"({"bus":2})"), kAppNotFound);
  EXPECT_EQ(code("record.stop", R"({"bus":55})"), kInvalidParams);
  EXPECT_EQ(*call("apps"), before);
  EXPECT_FALSE(methods.call("nonsense", ControlJSON::object(), peer, nullptr));
}

TEST_F(ControlMethodsTest, AProfilesNameIsBoundInBytes) {
  const auto save = [&](const std::string& name) {
    return code("profile.save", ControlJSON{{"name", name}}.dump());
  };
  EXPECT_EQ(save(std::string(200, 'p')), 0);
  EXPECT_EQ(save(std::string(201, 'p')), kInvalidParams);
  std::string wide;
  for (int i = 0; i < 100; ++i) wide += "\u00c5";
  EXPECT_EQ(save(wide), 0) << "200 bytes, and no control characters";
  for (const char* hidden : {"a\nb", "a\u0085", "gpj.\u202Eexe"}) EXPECT_EQ(save(hidden), kInvalidParams);
}

TEST_F(ControlMethodsTest, AClientOfAnotherProtocolIsToldBothVersions) {
  const auto greeting = *call("hello", R"({"protocol":1})");
  EXPECT_EQ(greeting["protocol"], 1);
  EXPECT_EQ(greeting["process"], getpid());
  const auto status = *call("status");
  for (const char* member : {"version", "protocol", "process", "platform"})
    EXPECT_EQ(status[member], greeting[member]) << member;
  EXPECT_EQ(*call("hello"), greeting) << "whoever only asks";
  const auto refused = call("hello", R"({"protocol":2})");
  ASSERT_FALSE(refused);
  EXPECT_EQ(controlErrorCode(refused.error()), kOtherProtocol);
  EXPECT_NE(refused.error().description.find("speaks version 1 of the control protocol, not 2"),
            std::string::npos);
}

// What is listed is what there is: each takes no other parameter, and the manual knows them all.
TEST_F(ControlMethodsTest, EveryMethodAndParameterIsListedAndDocumented) {
  std::ifstream file(SONMERE_SOURCE_DIR "/docs/control.md");
  const std::string manual(std::istreambuf_iterator<char>(file), {});
  const auto all = *call("methods");
  EXPECT_GT(all.size(), 30u);
  for (const auto& method : all) {
    const std::string name = method["method"];
    EXPECT_NE(manual.find("| `" + name + "` |"), std::string::npos) << name;
    for (const auto& parameter : method["parameters"])
      EXPECT_NE(manual.find("`" + std::string(parameter["name"]) + "`"), std::string::npos) << parameter;
    EXPECT_EQ(code(name, R"({"no such":1})"), kInvalidParams) << name;
  }
  EXPECT_FALSE(hasQuit || peer.interval || !peer.subscribed.empty());
  const auto volume = std::ranges::find(all, "volume", [](const auto& m) { return m["method"]; });
  EXPECT_EQ(
      (*volume)["parameters"].dump(),
      R"([{"name":"app","type":"a string","required":true},{"name":"step","type":"a number",)"
      R"("required":false},{"name":"stepDb","type":"a number","required":false},{"name":"volume","type":"a number","required":false}])");
}

TEST_F(ControlMethodsTest, SettingsTakeEffectAtOnceAndFallBack) {
  const auto set = [&](const char* key, const ControlJSON& value) {
    return call("settings.set", ControlJSON{{"key", key}, {"value", value}}.dump());
  };
  const auto reset = [&](const char* key) {
    return call("settings.reset", ControlJSON{{"key", key}}.dump());
  };
  AppTapEngine& engine = *world.app->appTapEngine();
  VolumeMixerEngine& mixer = *world.app->volumeMixerEngine();
  const auto format = [&] { return *world.app->recordings()->defaultRecordingFormat; };

  ASSERT_TRUE(set("sonmere.volumeMixer.isEnabled", true));
  EXPECT_TRUE(*mixer.isEnabled);
  ASSERT_TRUE(set("sonmere.volumeMixer.masterVolume", 2));
  EXPECT_EQ(*mixer.masterVolume, 2.0f);
  ASSERT_TRUE(set("sonmere.boostAllowed", false));
  EXPECT_EQ(*mixer.masterVolume, 1.0f) << "what is above goes down";
  EXPECT_EQ((*set("sonmere.volumeMixer.masterVolume", 1.5))["notes"][0], "volume held to 100 %");
  ASSERT_TRUE(set("sonmere.perapp.globalEnabled", false));
  EXPECT_FALSE(engine.isGlobalEnabled());
  ASSERT_TRUE(set("sonmere.eqSpectrumVisible", true));
  EXPECT_TRUE(world.app->context().flags.spectrumVisible);
  ASSERT_TRUE(set("recording.format", "m4a"));
  EXPECT_EQ(format(), RecordingFormat::m4a);
  ASSERT_TRUE(set("recording.bitDepth", "int24"));
  EXPECT_EQ(recordingBitDepth(world.settings), RecordingBitDepth::int24);
  const std::string takes = world.folder / "takes";
  EXPECT_EQ((*set("sonmere.recordingsFolderPath", takes))["notes"].size(), 0u);
  EXPECT_EQ(world.app->recordingsLibrary()->chosenFolder(), takes);

  const auto all = *call("settings");
  for (const auto& each : all) {
    if (each["changed"] != true || each.contains("bytes")) continue;
    const auto after = *reset(std::string(each["key"]).c_str());
    EXPECT_EQ(after["setting"]["changed"], false) << each;
    EXPECT_EQ(after["setting"]["value"], after["setting"]["default"]) << each;
  }
  EXPECT_TRUE(world.app->context().flags.boostAllowed && engine.isGlobalEnabled());
  EXPECT_FALSE(*mixer.isEnabled || world.app->context().flags.spectrumVisible);
  EXPECT_EQ(format(), RecordingFormat::wav);
  EXPECT_EQ(world.app->recordingsLibrary()->chosenFolder(), std::nullopt);
}

TEST_F(ControlMethodsTest, ASettingThatCantBeIsRefusedWithWhatCanAndStoredWhenTheUserInsists) {
  const std::tuple<const char*, ControlJSON, const char*> cases[] = {
      {"recording.format", "flac", "recording.format can't be \"flac\"; use wav or m4a"},
      {"recording.bitDepth", 99, "use int16, int24 or float32"},
      {"recording.bitdepth", "int24", "did you mean recording.bitDepth?"},
      {"format", "wav", "did you mean recording.format?"},
      {"foo", "bar", "there is no setting \"foo\""},
      {"sonmere.volumeMixer.masterVolume", 2.5, "use 0 to 2"},
      {"sonmere.boostAllowed", 1, "use true or false"},
      {"sonmere.recordingsFolderPath", "takes", "use the full path of a folder"},
      {"sonmere.recordingsFolderPath", "/proc", "/proc can't be written to"},
      {"sonmere.hiddenApps", {"a"}, "is changed by sonmere hide and unhide"},
      {"sonmere.perapp.volumes", {{"a", 1}}, "is changed by sonmere route, volume and mute"},
      {"launchAtLogin", true, "is changed by sonmere login-item"},
      {"sonmere.trackNames", {{"2", "Drums"}}, "is changed by sonmere bus"},
      {"didAutoRegisterLoginItem", true, "is kept by Sonmere itself"},
  };
  const auto before = world.settings.keys();
  for (const auto& [key, value, why] : cases) {
    const auto refused = call("settings.set", ControlJSON{{"key", key}, {"value", value}}.dump());
    ASSERT_FALSE(refused) << key;
    EXPECT_EQ(controlErrorCode(refused.error()), kInvalidParams) << key;
    EXPECT_NE(refused.error().description.find(why), std::string::npos) << refused.error().description;
  }
  EXPECT_EQ(world.settings.keys(), before);
  EXPECT_EQ(code("settings.get", R"({"key":"foo"})"), kAppNotFound);
  ASSERT_TRUE(call("settings.set", R"({"key":"foo","value":"bar","force":true})"));
  EXPECT_EQ(world.settings.string("foo"), "bar");
  ASSERT_TRUE(call("settings.reset", R"({"key":"foo"})"));
  EXPECT_FALSE(world.settings.object("foo"));
}

// Off until it is wanted, on this machine, and nothing of what was asked.
TEST_F(ControlMethodsTest, UsageIsCountedForItsUserAloneAndNeverAgainstAnOptOut) {
  ASSERT_TRUE(call("mute", R"({"app":"music","muted":true})"));
  EXPECT_TRUE((*call("usage"))["counts"].empty());
  ASSERT_TRUE(call("usage.enable", R"({"enabled":true})"));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(call("mute", R"({"app":"music","muted":true})"));
  wait(11);
  const auto usage = *call("usage");
  EXPECT_EQ(usage["counts"]["mute"], 3);
  std::ifstream file{std::string(usage["file"])};
  const std::string kept(std::istreambuf_iterator<char>(file), {});
  EXPECT_NE(kept.find("\"mute\": 3"), std::string::npos) << kept;
  EXPECT_EQ(kept.find("music"), std::string::npos);
  world.settings.set("sonmere.analyticsOptOut", true);
  ASSERT_TRUE(call("mute", R"({"app":"music","muted":true})"));
  EXPECT_EQ((*call("usage"))["counts"]["mute"], 3);
  EXPECT_EQ(code("usage.enable", R"({"enabled":true})"), kInvalidParams);
  ASSERT_TRUE(call("usage.clear"));
  wait(1);
  EXPECT_FALSE(std::filesystem::exists(std::string(usage["file"])));
}

// What an engine holds in memory it would store again.
TEST_F(ControlMethodsTest, AStructureIsNotResetUnderItsOwner) {
  ASSERT_TRUE(call("pin", R"({"app":"music"})"));
  const auto refused = call("settings.reset", R"({"key":"sonmere.pinnedApps"})");
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description,
            "sonmere.pinnedApps is changed by sonmere pin and unpin; it can be taken away while Sonmere does "
            "not run");
  EXPECT_TRUE(world.settings.object("sonmere.pinnedApps"));
}

// Paths are bytes: JSON has those that are no UTF-8 in a form of their own.
TEST_F(ControlMethodsTest, AFolderWhoseNameIsNoUTF8IsChosenAndShownAsItIs) {
  const std::string takes = world.folder / "takes\xFF";
  const ControlJSON value = ControlJSON::parse(settingsValueToJSON(takes));
  const auto set =
      call("settings.set", ControlJSON{{"key", "sonmere.recordingsFolderPath"}, {"value", value}}.dump());
  ASSERT_TRUE(set);
  EXPECT_EQ((*set)["setting"]["value"], value);
  EXPECT_EQ(world.app->recordingsLibrary()->chosenFolder(), takes);
}

// Whatever the program stores is in the table of settings, and structures are told by size alone.
TEST_F(ControlMethodsTest, EveryKeyThatIsStoredIsKnown) {
  for (const auto& [method, params] : {std::pair{"mixer.enable", R"({"enabled":true})"},
                                       {"volume", R"({"app":"talk","volume":0.5})"},
                                       {"route", R"({"app":"music","bus":2})"},
                                       {"mute", R"({"app":"music","muted":true})"},
                                       {"equaliser", R"({"app":"music","equaliser":{"bellDb":3}})"},
                                       {"limiter", R"({"app":"music","ceilingDb":-3})"},
                                       {"direct", R"({"app":"beat","direct":true})"},
                                       {"hide", R"({"app":"talk"})"},
                                       {"pin", R"({"app":"music"})"},
                                       {"bus.equaliser", R"({"bus":3,"equaliser":{"bellDb":3}})"},
                                       {"bus.limiter", R"({"bus":3,"ceilingDb":-3})"},
                                       {"profile.save", R"({"name":"a"})"},
                                       {"mixer.outputEqualiser", R"({"equaliser":{"bellDb":3}})"},
                                       {"mixer.master", R"({"volume":0.5})"},
                                       {"remove", R"({"app":"talk"})"}})
    ASSERT_TRUE(call(method, params)) << method;
  wait(5);
  EXPECT_GT(world.settings.keys().size(), 12u);
  const auto all = *call("settings");
  for (const std::string& key : world.settings.keys()) EXPECT_TRUE(describeSetting(key)) << key;
  EXPECT_EQ(all.dump().find("$data"), std::string::npos);
  const auto states =
      std::ranges::find(all, "sonmere.volumeMixer.appsState", [](const auto& s) { return s["key"]; });
  ASSERT_NE(states, all.end());
  EXPECT_GT((*states)["bytes"], 10);
}

TEST_F(ControlMethodsTest, ARouteThatWaitsIsListedAndChangedLikeAnyOther) {
  ASSERT_TRUE(call("route", R"({"app":"music","bus":2})"));
  world.platform.platform().applications().terminate(engineRow("org.music")->id);
  wait(1);
  EXPECT_EQ((*call("app", R"({"app":"music"})"))["routeWaits"], true);
  EXPECT_EQ((*call("app", R"({"app":"music"})"))["bus"], 2);
  const auto change = *call("volume", R"({"app":"music","volume":0.5})");
  EXPECT_EQ(change["app"]["volume"], 0.5);
  EXPECT_EQ(change["notes"].dump(), R"(["kept for later: the app's route waits until it plays"])");
  EXPECT_EQ(world.app->volumeMixerEngine()->appState("org.music").volume, 1.0f);
  EXPECT_EQ((*call("routing"))["waiting"].dump(), R"(["org.music"])");
  world.launch("org.music");
  wait(1);
  EXPECT_EQ(world.app->appTapEngine()->tapOf("org.music")->volume.load(), 0.5f);
  EXPECT_EQ((*call("app", R"({"app":"music"})"))["routeWaits"], false);
}

TEST_F(ControlMethodsTest, AppsSayWhatTheUserIsToKnowOfThem) {
  const std::string webApp = "org.music.app." + std::string(32, 'a');
  world.launch(webApp);
  world.launch("com.cockos.reaper");
  world.launch("com.apple.avconferenced");
  wait(1);
  const auto hints = [&](const std::string& app) {
    return (*call("app", ControlJSON{{"app", app}}.dump()))["hints"];
  };
  EXPECT_TRUE(hints("org.talk").empty());
  ASSERT_EQ(hints(webApp).size(), 1u);
  EXPECT_TRUE(std::string(hints(webApp)[0])
                  .starts_with("This web app plays its sound through " + engineRow("org.music")->name + ","));
  EXPECT_TRUE(hints("com.cockos.reaper").empty()) << "the mixer is off";
  ASSERT_TRUE(call("mixer.enable", R"({"enabled":true})"));
  world.platform.embedded()->playAll();
  wait(1);
  ASSERT_EQ(hints("com.cockos.reaper").size(), 1u);
  ASSERT_TRUE(call("direct", R"({"app":"com.cockos.reaper","direct":false})"));
  EXPECT_TRUE(hints("com.cockos.reaper").empty()) << "answered";

  const auto isHidden = [&] { return (*call("app", R"({"app":"avconferenced"})"))["hidden"] == true; };
  EXPECT_EQ(hints("com.apple.avconferenced").size(), 1u);
  ASSERT_TRUE(call("hide", R"({"app":"avconferenced"})"));
  EXPECT_TRUE(isHidden());
  ASSERT_TRUE(call("automatic", R"({"app":"avconferenced"})"));
  EXPECT_FALSE(world.settings.object("sonmere.callAudio.visibilityOverride"));
  EXPECT_EQ(code("automatic", R"({"app":"talk"})"), kInvalidParams);
  EXPECT_EQ((*call("report.history"))["text"], world.app->latencyProbe().historyFileText());
}

TEST_F(ControlMethodsTest, RoutingAsAWholeAndTheEffectsOfABusAreSeenAndChanged) {
  ASSERT_TRUE(call("route", R"({"app":"music","bus":3})"));
  EXPECT_EQ((*call("routing.enable", R"({"enabled":false})"))["routing"]["enabled"], false);
  EXPECT_FALSE(world.app->appTapEngine()->tapOf("org.music"));
  EXPECT_EQ((*call("status"))["routingEnabled"], false);
  const auto later = *call("route", R"({"app":"talk","bus":4})");
  EXPECT_EQ(later["app"]["bus"], nullptr);
  EXPECT_EQ(later["notes"].dump(), R"(["kept for later: routing is off"])");
  ASSERT_TRUE(call("routing.enable", R"({"enabled":true})"));
  EXPECT_EQ(world.app->appTapEngine()->tapOf("org.talk")->busIndex, 4);

  const auto bus = *call("bus", R"({"bus":3})");
  EXPECT_EQ(bus["apps"].dump(), R"(["org.music"])");
  EXPECT_EQ(bus["running"], true);
  EXPECT_EQ(bus["equaliser"]["enabled"], false);
  const auto bright = *call("bus.equaliser", R"({"bus":3,"equaliser":{"bellDb":99}})");
  EXPECT_EQ(bright["bus"]["equaliser"]["bellDb"], 24.0);
  EXPECT_EQ(bright["notes"].size(), 1u);
  EXPECT_EQ((*call("bus.limiter", R"({"bus":3,"ceilingDb":-40})"))["bus"]["limiter"]["ceilingDb"], -12.0);
  wait(1);
  EXPECT_GT((*call("bus", R"({"bus":3})"))["gainReductionDb"], 0.0) << "it works in the bus";
  EXPECT_EQ((*call("bus.limiter", R"({"bus":3,"ceilingDb":null})"))["bus"]["limiter"]["enabled"], false);
  EXPECT_EQ((*call("routing"))["buses"].size(), 9u);
  EXPECT_EQ(code("bus.limiter", R"({"bus":1,"ceilingDb":-3})"), kInvalidParams);
  EXPECT_EQ(code("bus.equaliser", R"({"bus":3,"equaliser":{"bellDb":"x"}})"), kInvalidParams);
}

TEST_F(ControlMethodsTest, SubscriptionsAreTheCallersOwn) {
  ASSERT_TRUE(call("subscribe", R"({"topics":["apps","mixer"]})"));
  EXPECT_EQ(peer.subscribed, (TopicSet{Topic::apps, Topic::mixer}));
  ASSERT_TRUE(call("unsubscribe", R"({"topics":["apps"]})"));
  EXPECT_EQ(peer.subscribed, TopicSet{Topic::mixer});
  ASSERT_TRUE(call("watch"));
  EXPECT_EQ(peer.interval, fromMilliseconds(100));
  ASSERT_TRUE(call("watch", R"({"rate":2})"));
  EXPECT_EQ(peer.interval, fromMilliseconds(500));
  EXPECT_EQ(code("watch", R"({"rate":60})") + code("watch", R"({"rate":0.1})"), 0);
  EXPECT_EQ(code("watch", R"({"rate":60.1})"), kInvalidParams);
  EXPECT_EQ(code("watch", R"({"rate":0.09})"), kInvalidParams);
  ASSERT_TRUE(call("watch", R"({"spectrum":"talk"})"));
  EXPECT_EQ(peer.spectrum, "org.talk");
  ASSERT_TRUE(call("watch", R"({"spectrum":"bus 3"})"));
  EXPECT_EQ(peer.spectrum, "bus 3");
  for (const char* nothing : {R"({"spectrum":"bus 1"})", R"({"spectrum":"nobody"})"})
    EXPECT_FALSE(call("watch", nothing)) << nothing;
  ASSERT_TRUE(call("watch", R"({"on":false})"));
  EXPECT_EQ(peer.interval, std::nullopt);
}

TEST_F(ControlMethodsTest, AWindowIsGreetedOnceAndStaysAwayWhereNobodyAskedForIt) {
  world.app->appDelegate().applicationDidFinishLaunching(false, nullptr);
  world.settings.set("sonmere.pending28Note", true);
  world.settings.set("sonmere.showWindowOnLaunch", false);
  const auto first = *call("window.launch", R"({"atLogin":false})");
  EXPECT_EQ(first["greeting"], "routingNote");
  EXPECT_EQ(first["shown"], true) << "a first launch always shows it";
  world.app->appDelegate().applicationDidFinishLaunching(false, nullptr);
  const auto second = *call("window.launch", R"({"atLogin":false})");
  EXPECT_EQ(second["greeting"], "");
  EXPECT_EQ(second["shown"], false);
  world.settings.remove("sonmere.showWindowOnLaunch");
  EXPECT_EQ((*call("window.launch", R"({"atLogin":false})"))["shown"], true);
  EXPECT_EQ((*call("window.launch", R"({"atLogin":true})"))["shown"], false);
}

TEST_F(ControlMethodsTest, ARecordingIsAnsweredOnceItsFileIsComplete) {
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":3})"));
  const auto begun = call("record.start", R"({"bus":3})");
  ASSERT_TRUE(begun) << begun.error().description;
  EXPECT_EQ(code("record.start", R"({"bus":3})"), kInvalidParams) << "already";
  wait(2);
  EXPECT_EQ((*call("recordings"))[0]["bus"], 3);
  EXPECT_EQ((*call("recordings"))[0]["silent"], false);
  EXPECT_GT((*call("recordings"))[0]["peakDb"], -60);
  EXPECT_EQ((*call("record.health"))["failureCount"], 0);
  const auto stopped = call("record.stop", R"({"bus":3})");
  ASSERT_TRUE(stopped);
  EXPECT_EQ((*stopped)["path"], (*begun)["path"]);
  EXPECT_TRUE(call("recordings")->empty());
}

TEST_F(ControlMethodsTest, BusesThatAreStartedTogetherAreOneSessionOrNone) {
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":3})"));
  EXPECT_EQ(code("record.start", R"({"buses":[3,4]})"), kInvalidParams) << "nothing plays on bus 4";
  EXPECT_TRUE(call("recordings")->empty());
  ASSERT_TRUE(call("route", R"({"app":"talk","bus":4})"));
  for (const char* wrong :
       {R"({"buses":[]})", R"({"buses":[3,"4"]})", R"({"buses":3})", R"({"buses":[3.5]})"})
    EXPECT_EQ(code("record.start", wrong), kInvalidParams) << wrong;
  const auto begun = call("record.start", R"({"buses":[3,4]})");
  ASSERT_TRUE(begun) << begun.error().description;
  ASSERT_EQ(begun->size(), 2u);
  const auto stamp = [&](int i) {
    const std::string path = (*begun)[i]["path"];
    return path.substr(path.size() - 23);
  };
  EXPECT_EQ(stamp(0), stamp(1));

  // What there is besides: the bridge alone, since no microphone runs.
  const auto rest = call("record.start", R"({"all":true,"layout":"mixed"})");
  ASSERT_TRUE(rest) << rest.error().description;
  ASSERT_EQ(rest->size(), 1u);
  EXPECT_EQ((*rest)[0]["bus"], 0);
  ASSERT_TRUE(call("record.stop", R"({"bus":0})"));

  std::filesystem::remove(std::string((*begun)[0]["path"]));
  wait(2);
  const auto health = *call("record.health");
  ASSERT_EQ(health["notices"].size(), 1u);
  EXPECT_EQ((*call("status"))["recordingNotices"], health["notices"]);
  const std::string now = (*call("recordings"))[0]["path"];
  std::filesystem::remove(now);
  const auto stopped = call("record.stop", R"({"bus":3})");
  ASSERT_FALSE(stopped);
  EXPECT_TRUE(stopped.error().description.ends_with("its file was removed")) << stopped.error().description;
}

TEST_F(ControlMethodsTest, AMarkStandsInEveryFileOfATake) {
  EXPECT_EQ(code("record.mark", R"({"text":"none"})"), kAppNotFound);
  const auto begun = call("record.start", R"({"buses":[0],"layout":"separateTracks"})");
  ASSERT_TRUE(begun) << begun.error().description;
  ASSERT_GE(begun->size(), 2u);
  EXPECT_EQ(begun->back()["source"], "apps");
  EXPECT_TRUE(begun->back()["bus"].is_null());
  wait(2);
  EXPECT_EQ(code("record.mark", R"({"text":"two\nlines"})"), kInvalidParams);
  EXPECT_EQ(code("record.mark", fmt::format(R"({{"text":"{}"}})", std::string(201, 'x'))), kInvalidParams);
  const auto marked = call("record.mark", R"({"text":"chorus"})");
  ASSERT_TRUE(marked) << marked.error().description;
  wait(1);
  const auto stopped = call("record.stop", R"({"bus":0})");
  ASSERT_TRUE(stopped) << stopped.error().description;
  ASSERT_EQ((*stopped)["paths"].size(), begun->size());
  for (const auto& path : (*stopped)["paths"]) {
    const auto reader = openAudioFile(path.get<std::string>());
    ASSERT_TRUE(reader);
    ASSERT_EQ((*reader)->details().marks.size(), 1u);
    EXPECT_EQ((*reader)->details().marks[0].text, "chorus");
    EXPECT_NEAR(double((*reader)->details().marks[0].frame), 2 * 48000, 9600);
  }
  EXPECT_EQ(code("record.start", R"({"bus":0,"layout":"quad"})"), kInvalidParams);
  EXPECT_EQ(code("record.start", R"({"bus":0,"format":"flac"})"), kInvalidParams);
  EXPECT_EQ(code("record.start", R"({"mic":true})"), kRequestFailed);
  EXPECT_EQ(code("record.stop", R"({"all":true})"), kAppNotFound);
}

TEST_F(ControlMethodsTest, ARecordingSaysWhatItIsAndWhenItEnds) {
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":3})"));
  wait(1);
  for (const char* wrong : {R"("depth":"int8")", R"("partSeconds":0)", R"("maxSeconds":0.5)",
                            R"("maxBytes":-1)", R"("folder":"a/b")", R"("folder":"/proc/nowhere")"}) {
    const auto refused = call("record.start", fmt::format(R"({{"buses":[3],{}}})", wrong));
    ASSERT_FALSE(refused) << wrong;
    EXPECT_FALSE(refused.error().description.contains('\n')) << refused.error().description;
    EXPECT_TRUE(call("recordings")->empty());
  }
  const std::string folder = (world.folder / "elsewhere").string();
  const auto begun =
      call("record.start",
           fmt::format(R"({{"buses":[3],"depth":"int24","folder":"{}","maxSeconds":2.5,"partSeconds":1}})",
                       folder));
  ASSERT_TRUE(begun) << begun.error().description;
  wait(2.2);
  EXPECT_EQ((*call("recordings"))[0]["part"], 2);
  wait(2);
  EXPECT_TRUE(call("recordings")->empty());
  EXPECT_TRUE((*call("record.health"))["notices"].dump().contains("length of 0:03"))
      << *call("record.health");
  const std::string first = (*begun)[0]["path"];
  EXPECT_TRUE(first.starts_with(folder));
  const auto whole = openRecording(first);
  ASSERT_TRUE(whole);
  EXPECT_EQ((*whole)->frameCount(), 120000);
  EXPECT_EQ((*whole)->details().bits, 24);
}

TEST_F(ControlMethodsTest, RowsProfilesAndSwitchesFollowTheirCommands) {
  const auto app = [&](const char* name) { return *call("app", fmt::format(R"({{"app":"{}"}})", name)); };
  ASSERT_TRUE(call("mixer.enable", R"({"enabled":true})"));
  EXPECT_EQ(app("talk")["control"], "mixer");
  wait(1);
  const double loud = app("talk")["levelDb"];
  EXPECT_GT(loud, -59) << "it plays";
  ASSERT_TRUE(call("mute", R"({"app":"talk","muted":true})"));
  EXPECT_EQ(app("talk")["levelDb"], -60);
  ASSERT_TRUE(call("mute", R"({"app":"talk","muted":false})"));
  ASSERT_TRUE(call("direct", R"({"app":"talk","direct":true})"));
  EXPECT_EQ(app("talk")["control"], "direct");
  ASSERT_TRUE(call("hide", R"({"app":"music"})"));
  EXPECT_EQ(app("music")["hidden"], true);
  ASSERT_TRUE(call("remove", R"({"app":"music"})"));
  EXPECT_EQ(code("app", R"({"app":"music"})"), kAppNotFound);
  EXPECT_EQ(call("apps.removed")->dump(), R"(["org.music"])");
  ASSERT_TRUE(call("unhide", R"({"app":"music"})")) << "brings a removed one back too";
  EXPECT_EQ(app("music")["hidden"], false);
  EXPECT_TRUE(call("apps.removed")->empty());

  ASSERT_TRUE(call("route", R"({"app":"beat","bus":4})"));
  ASSERT_TRUE(call("profile.save", R"({"name":"Evening"})"));
  EXPECT_EQ(code("profile.save", R"({"name":"evening"})"), kInvalidParams) << "taken";
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":null})"));
  EXPECT_EQ(app("beat")["bus"], nullptr);
  ASSERT_TRUE(call("profile.apply", R"({"name":"EVENING"})"));
  EXPECT_EQ(app("beat")["bus"], 4);
  EXPECT_EQ(app("beat")["leftOutMs"], 0);
  RoutingInsides(*world.app->appTapEngine()).activeTaps.at("org.beat")->noteInterruption(4800);
  EXPECT_EQ(app("beat")["leftOutMs"], 100);
  ASSERT_TRUE(call("profile.delete", R"({"name":"Evening"})"));
  EXPECT_TRUE(call("profiles")->empty());

  EXPECT_EQ((*call("status"))["routedApps"], 1);
  EXPECT_NE(std::string((*call("report"))["text"]).find("route:org.beat"), std::string::npos);
  EXPECT_GE(call("devices")->size(), 13u);
  ASSERT_TRUE(call("quit"));
  EXPECT_TRUE(hasQuit);
}

TEST_F(ControlMethodsTest, TheMicrophoneIsHeardShapedAndSent) {
  auto& machine = dynamic_cast<SimulatedPlatform&>(world.platform.platform());
  const auto bridge = machine.host().readInput("ToneFerry_UID");
  const auto track = machine.host().readInput("ToneFerry_UID_Track_2");
  const auto peaks = [&] {
    bridge->takePeak(), track->takePeak();
    wait(1);
    return std::pair(bridge->takePeak(), track->takePeak());
  };
  ASSERT_TRUE(call("mic.enable", R"({"enabled":true})"));
  wait(0.5);
  const float full = peaks().first;
  EXPECT_GT(full, 0.05f);
  EXPECT_EQ(peaks().second, 0.0f);
  EXPECT_EQ((*call("mic.volume", R"({"volume":0.5})"))["input"]["volume"], 0.5);
  const auto sent = *call("mic.send", R"({"bus":3,"volume":0.5})");
  EXPECT_EQ(sent["input"]["sends"], ControlJSON({{"3", 0.5}}));
  wait(0.5);
  const auto [half, quarter] = peaks();
  EXPECT_NEAR(half, full / 2, full / 50);
  EXPECT_NEAR(quarter, full / 4, full / 50);
  const Meters meters = control.meters();
  ASSERT_TRUE(meters.input);
  EXPECT_GT(meters.input->beforeDb, meters.input->afterDb + 5);
  ASSERT_EQ(meters.input->channelPeaks.size(), 1u);

  ASSERT_TRUE(call("mic.send", R"({"bus":3,"volume":null})"));
  ASSERT_TRUE(call("mic.enable", R"({"enabled":false})"));
  EXPECT_EQ(peaks(), (std::pair<float, float>(0, 0)));
  EXPECT_FALSE(control.meters().input);
}

TEST_F(ControlMethodsTest, TheMonitorPlaysWhatIsChosenWhereItIsWanted) {
  auto& machine = dynamic_cast<SimulatedPlatform&>(world.platform.platform());
  const auto peakOn = [&](const char* uid) {
    const auto ear = machine.host().hear(uid);
    wait(0.5);
    ear->takePeak();
    wait(1);
    return ear->takePeak();
  };
  EXPECT_EQ((*call("monitor"))["device"], "System Default");
  EXPECT_EQ((*call("monitor.app", R"({"app":"beat","enabled":true})"))["notes"].size(), 1u)
      << "not routed yet";
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":2})"));
  const auto chosen = *call("monitor.select", R"({"device":"headset"})");
  EXPECT_EQ(chosen["monitor"]["running"], true);
  EXPECT_EQ(chosen["monitor"]["following"], false);
  const float full = peakOn(SimulatedHost::kHeadsetUID);
  EXPECT_GT(full, 0.05f);
  const auto isSilentByItself = [&] { return world.app->appTapEngine()->tapOf("org.beat")->createdMuted; };
  EXPECT_TRUE(isSilentByItself());
  const auto half = *call("monitor.appVolume", R"({"app":"beat","volume":0.5})");
  EXPECT_EQ(half["notes"].size(), 1u) << "the link has ended";
  for (const ControlJSON& app : half["monitor"]["apps"]) {
    EXPECT_EQ(app["linked"], app["id"] != "org.beat");
    EXPECT_EQ(app["heard"], app["id"] == "org.beat");
  }
  EXPECT_NEAR(peakOn(SimulatedHost::kHeadsetUID), full / 2, full / 20);
  ASSERT_TRUE(call("monitor.link", R"({"app":"beat","linked":true})"));
  EXPECT_NEAR(peakOn(SimulatedHost::kHeadsetUID), full, full / 20);

  ASSERT_TRUE(call("monitor.enable", R"({"enabled":false})"));
  EXPECT_EQ(peakOn(SimulatedHost::kHeadsetUID), 0.0f);
  EXPECT_FALSE(isSilentByItself());
  EXPECT_EQ((*call("monitor.bus", R"({"bus":2,"enabled":true})"))["notes"].size(), 1u) << "kept for later";
  ASSERT_TRUE(call("monitor.app", R"({"app":"beat","enabled":false})"));
  ASSERT_TRUE(call("monitor.enable", R"({"enabled":true})"));
  EXPECT_EQ((*call("monitor.busVolume", R"({"bus":2,"volume":3})"))["notes"][0], "volume held to 100 %");
  EXPECT_NEAR(peakOn(SimulatedHost::kHeadsetUID), full, full / 20);
  EXPECT_EQ((*call("monitor.follow"))["monitor"]["following"], true);
  EXPECT_EQ((*call("monitor.micVolume", R"({"volume":0.5})"))["monitor"]["microphone"]["volume"], 0.5);
  EXPECT_EQ((*call("monitor.mic", R"({"enabled":true})"))["notes"][0],
            "kept for later: the microphone is off");
  ASSERT_TRUE(call("mic.enable", R"({"enabled":true})"));
  EXPECT_EQ((*call("monitor"))["microphone"]["heard"], true);

  for (const auto& [method, params] : {std::pair{"monitor.select", R"({"device":"Tone Ferry"})"},
                                       {"monitor.bus", R"({"bus":1,"enabled":true})"},
                                       {"monitor.busVolume", R"({"bus":10,"volume":1})"},
                                       {"monitor.app", R"({"app":"nobody","enabled":true})"}}) {
    SCOPED_TRACE(method);
    EXPECT_NE(code(method, params), 0);
  }
}

TEST_F(ControlMethodsTest, RoutesAreJudgedWithAdviceAndMadeAnewOnDemand) {
  auto& machine = dynamic_cast<SimulatedPlatform&>(world.platform.platform());
  const auto row = [](const ControlJSON& routes, const char* id) {
    for (const ControlJSON& each : routes["routes"])
      if (each["id"] == id) return each;
    return ControlJSON();
  };
  ASSERT_TRUE(call("mic.enable", R"({"enabled":true})"));
  ASSERT_TRUE(call("mixer.enable", R"({"enabled":true})"));
  const auto well = *call("routes");
  EXPECT_EQ(well["worst"], "healthy") << well;
  EXPECT_EQ(row(well, "input")["verdict"], "healthy");
  EXPECT_EQ(row(well, "monitor")["verdict"], "inactive");

  ASSERT_TRUE(call("mic.select", R"({"device":"headset"})"));
  machine.host().unplug(SimulatedHost::kHeadsetUID);
  wait(2);
  const auto gone = *call("routes");
  EXPECT_EQ(gone["worst"], "degraded") << gone;
  EXPECT_EQ(row(gone, "input")["detail"], "Input device disconnected");
  EXPECT_FALSE(row(gone, "input")["advice"].get<std::string>().empty());

  machine.host().faults().failFrom(Operation::devices, 1, kAudioHardwareNotRunningError);
  EXPECT_EQ((*call("routes"))["worst"], "broken");
  machine.host().faults().clear();
  machine.host().replug(SimulatedHost::kHeadsetUID);
  wait(2);
  const auto reset = *call("routes.reset");
  EXPECT_EQ(reset["worst"], "healthy") << reset;
  EXPECT_TRUE(reset["lastReset"].is_object());
  EXPECT_EQ((*call("routes.check"))["worst"], "healthy");
}

// Another program plays into a Track: it is read back, until apps are routed there as well.
TEST_F(ControlMethodsTest, ATrackThatAnotherProgramFeedsIsHeardOnTheMonitor) {
  auto& machine = dynamic_cast<SimulatedPlatform&>(world.platform.platform());
  SimulatedAppDescription description;
  description.bundleID = "org.studio";
  description.name = "Studio";
  SimulatedApp studio = machine.host().launchApp(description);
  studio.setDevice("ToneFerry_UID_Track_3");
  studio.play(SampleSources::tone(300, 0.5f));
  ASSERT_TRUE(call("monitor.select", R"({"device":"headset"})"));
  ASSERT_TRUE(call("monitor.bus", R"({"bus":4,"enabled":true})"));
  const auto ear = machine.host().hear(SimulatedHost::kHeadsetUID);
  const auto peak = [&] {
    wait(0.5);
    ear->takePeak();
    wait(0.5);
    return ear->takePeak();
  };
  EXPECT_NEAR(peak(), 0.5f, 0.01f);
  ASSERT_TRUE(call("monitor.busVolume", R"({"bus":4,"volume":0.5})"));
  EXPECT_NEAR(peak(), 0.25f, 0.01f);
  const auto units = machine.host().counts().units;
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":4})"));
  wait(0.1);
  EXPECT_EQ(machine.host().counts().units, units) << "the bus's unit in place of the loopback's";
  ASSERT_TRUE(call("route", R"({"app":"beat","bus":null})"));
  EXPECT_NEAR(peak(), 0.25f, 0.01f);
  ASSERT_TRUE(call("monitor.enable", R"({"enabled":false})"));
  EXPECT_EQ(peak(), 0.0f);
}

TEST_F(ControlMethodsTest, TheMicrophonesSettingsAreToldAndHeld) {
  const auto chosen = *call("mic.select", R"({"device":"headset"})");
  ASSERT_EQ(chosen["input"]["devices"].size(), 2u) << "not the program's own";
  EXPECT_EQ(chosen["input"]["devices"][1]["used"], true);
  EXPECT_EQ((*call("mic.volume", R"({"volume":5})"))["notes"][0], "volume held to 200 %");
  EXPECT_EQ((*call("mic.channels", R"({"channels":"3,4"})"))["notes"][0],
            "USB Headset has 1 channels; what is beyond takes the last");
  EXPECT_EQ((*call("input"))["channels"], "3,4");
  EXPECT_EQ((*call("mic.equaliser", R"({"equaliser":{"highPassHz":1}})"))["input"]["equaliser"]["highPassHz"],
            20.0);
  EXPECT_EQ((*call("mic.limiter", R"({"ceilingDb":-30})"))["input"]["limiter"]["ceilingDb"], -12.0);
  const auto extra = *call("input.add", R"({"channel":1,"name":"Guitar","volume":9,"pan":-0.5})");
  EXPECT_EQ(extra["input"]["inputs"][0]["volume"], 2.0);
  EXPECT_EQ(extra["notes"].size(), 2u);
  const auto muted = *call("input.set", R"({"input":"guit","muted":true,"channel":2})");
  EXPECT_EQ(muted["input"]["inputs"][0]["muted"], true);
  EXPECT_EQ(muted["input"]["inputs"][0]["channel"], 2);
  EXPECT_EQ(muted["input"]["inputs"][0]["pan"], -0.5) << "what is left out stays";
  EXPECT_EQ((*call("input.remove", R"({"input":"Guitar"})"))["input"]["inputs"].size(), 0u);

  EXPECT_NE(code("inputLock.enable", R"({"enabled":true})"), 0) << "to which?";
  EXPECT_EQ((*call("inputLock.select", R"({"device":"headset"})"))["input"]["lock"]["name"], "USB Headset");
  wait(1);
  EXPECT_EQ((*call("input"))["lock"]["restores"], 1);

  for (const auto& [method, params] : {std::pair{"mic.select", R"({"device":"nowhere"})"},
                                       {"mic.select", R"({"device":""})"},
                                       {"mic.send", R"({"bus":1,"volume":1})"},
                                       {"mic.send", R"({"bus":0,"volume":1})"},
                                       {"mic.send", R"({"bus":10,"volume":1})"},
                                       {"mic.channels", R"({"channels":"0,1"})"},
                                       {"mic.channels", R"({"channels":"left"})"},
                                       {"input.add", R"({"channel":2})"},
                                       {"input.add", R"({"channel":0})"},
                                       {"input.add", R"({"channel":1,"name":"a\u0007"})"},
                                       {"input.set", R"({"input":"nobody","volume":1})"},
                                       {"input.remove", R"({"input":""})"}})
    EXPECT_NE(code(method, params), 0) << method << params;
}

// While the server is waited for nothing is built, and what was stored would hold.
TEST(MixerControl, WhatIsWishedBeforeTheServerAnswersHoldsThen) {
  AppWorld<VirtualRuntime> world{1};
  MixerControl mixer(world.start());
  const auto isStored = [&] { return world.settings.boolValue("sonmere.volumeMixer.isEnabled"); };
  const auto on = mixer.setEnabled(true);
  ASSERT_TRUE(on);
  EXPECT_EQ(on->notes, std::vector<std::string>{"kept for later: the audio server does not answer yet"});
  EXPECT_TRUE(isStored());
  ASSERT_TRUE(mixer.setEnabled(false));
  EXPECT_FALSE(isStored());
  ASSERT_TRUE(mixer.setEnabled(true));
  world.app->startUp();
  world.runtime.advance(fromSeconds(1));
  EXPECT_TRUE(mixer.state().isEnabled);
}

}  // namespace
}  // namespace sonmere
