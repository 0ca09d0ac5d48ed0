#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <set>

#include "mixer/DAWHint.h"
#include "mixer/MixerRows.h"
#include "support/MixerWorld.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingInsides.h"

namespace sonmere {
namespace {

using Control = VolumeMixerControl;

class VolumeMixerEngineTest : public testing::Test {
 protected:
  void begin(SimulatedOptions options = {}) {
    world = std::make_unique<MixerWorld>(1, std::move(options));
    music = world->launch("music", "Music");
    game = world->launch("game");
    music.play(SampleSources::tone(440, 0.25f));
    speakers = world->host().hear(SimulatedHost::kSpeakersUID);
    world->startMixer();
    world->settle();
  }
  VolumeMixerEngine& mixer() { return *world->mixer; }
  SimulatedHost::Counts counts() { return world->host().counts(); }
  // The loudest sample of the next moment.
  float heard(double seconds = 0.3) {
    world->wait(0.1);
    speakers->takePeak();
    world->wait(seconds);
    return speakers->takePeak();
  }
  std::vector<std::string> callsSince(std::size_t seen) {
    static const std::set<std::string> kInteresting = {
        "createProcessTap", "tapUID",        "createAggregateDevice",  "createIOProc",     "startDevice",
        "stopDevice",       "destroyIOProc", "destroyAggregateDevice", "destroyProcessTap"};
    std::vector<std::string> names;
    const auto ledger = world->host().ledger();
    for (std::size_t i = seen; i < ledger.size(); ++i)
      if (std::string name(operationName(ledger[i].operation)); kInteresting.contains(name))
        names.push_back(name);
    return names;
  }

  std::unique_ptr<MixerWorld> world;
  SimulatedApp music, game;
  std::shared_ptr<DeviceRecorder> speakers;
};

TEST_F(VolumeMixerEngineTest, EveryAppIsHeardOnceThroughItsTapAtItsVolume) {
  begin();
  RealtimeGuard guard;
  EXPECT_TRUE(world->tap("music"));
  EXPECT_TRUE(world->tap("game")) << "an app that may play later is held too";
  EXPECT_TRUE(music.isSilenced());
  EXPECT_EQ(music.tapCount(), 1u);
  EXPECT_NEAR(heard(), 0.25f, 0.001f);
  mixer().setVolume("music", 0.5f);
  EXPECT_NEAR(heard(), 0.125f, 0.001f);
  mixer().setVolume("music", 3.0f);
  EXPECT_NEAR(heard(), 0.75f, 0.001f);
  mixer().setMasterVolume(0.5f);
  EXPECT_NEAR(heard(), 0.375f, 0.001f);
  mixer().setVolume("music", 9.0f);
  EXPECT_EQ(mixer().appState("music").volume, 4.0f);
  EXPECT_LE(heard(), 0.5f) << "a boosted app is limited though its limiter is off";
  mixer().setMuted("music", true);
  EXPECT_EQ(heard(), 0.0f);
  EXPECT_REALTIME_SAFE(guard);

  // The next launch sounds as this one.
  mixer().setMuted("music", false);
  mixer().setVolume("music", 0.5f);
  world->mixer.reset();
  world->makeMixer();
  world->settle();
  EXPECT_NEAR(heard(), 0.0625f, 0.001f);

  mixer().setEnabled(false);
  EXPECT_FALSE(music.isSilenced());
  EXPECT_NEAR(heard(), 0.25f, 0.001f);
  EXPECT_EQ(counts().taps + counts().aggregates + counts().ioProcs + counts().units, 0u);
  world->launch("late").play(SampleSources::samples({0.5f, 0.5f}, true));
  world->wait(0.05);
  EXPECT_GT(speakers->takePeak(), 0.6f) << "nobody holds back an app that comes now";
}

TEST_F(VolumeMixerEngineTest, TheObjectsAreMadeAsNamed) {
  begin();
  const auto aggregates = world->host().aggregateUIDs();
  ASSERT_EQ(aggregates.size(), 2u);
  for (const std::string& uid : aggregates) {
    EXPECT_TRUE(uid.starts_with("Sonmere_VolMixer_music_") || uid.starts_with("Sonmere_VolMixer_game_"));
    EXPECT_EQ(uid.substr(uid.rfind('_') + 1).size(), 8u);
  }
  EXPECT_TRUE(world->logged(
      fmt::format("Volume Mixer output rate: {:f} Hz (device id={})", 48000.0, mixer().boundOutputDevice())));
  EXPECT_TRUE(
      world->logged("Rate OK for music: capture 48000.000000 Hz == output 48000.000000 Hz (no change)"));
  EXPECT_FALSE(world->logged("Failed to build tap for music"));
}

// Each step of a creation fails: what was made before is destroyed in reverse, the app sounds on by itself,
// the other app gets its tap all the same, and the next look at the apps tries again.
TEST_F(VolumeMixerEngineTest, AFailureAtAnyStepLeavesTheAppAudible) {
  struct Case {
    Operation operation;
    std::uint64_t times;
    std::vector<std::string> undo;
  };
  const std::vector<Case> cases = {
      {Operation::createProcessTap, 1, {}},
      {Operation::tapUID, 5, {"destroyProcessTap"}},
      {Operation::createAggregateDevice, 1, {"destroyProcessTap"}},
      {Operation::createIOProc, 1, {"destroyAggregateDevice", "destroyProcessTap"}},
      {Operation::startDevice, 1, {"destroyIOProc", "destroyAggregateDevice", "destroyProcessTap"}}};
  for (const Case& failing : cases) {
    SCOPED_TRACE(operationName(failing.operation));
    begin();
    mixer().setEnabled(false);
    world->lines.clear();
    const std::size_t seen = world->host().ledger().size();
    for (std::uint64_t n = 1; n <= failing.times; ++n)
      world->host().faults().failNth(failing.operation, n, -50);
    EXPECT_TRUE(mixer().setEnabled(true));

    EXPECT_EQ(mixer().activeTaps().size(), 1u);
    const std::string failed = world->tap("music") ? "game" : "music";
    EXPECT_TRUE(world->logged("Failed to build tap for " + failed));
    EXPECT_EQ(world->logged("Failed to create process tap: -50"),
              failing.operation == Operation::createProcessTap);
    const auto calls = callsSince(seen);
    const auto at = std::ranges::find_if(calls, [](const auto& name) { return name.starts_with("destroy"); });
    EXPECT_EQ(std::vector(at, at + std::min<std::ptrdiff_t>(calls.end() - at, std::ssize(failing.undo))),
              failing.undo);
    EXPECT_EQ(counts().taps, 1u);
    EXPECT_EQ(counts().aggregates, 1u);
    EXPECT_EQ(counts().runningIOProcs, 1u);
    EXPECT_NEAR(heard(), 0.25f, 0.001f);

    world->engine->refreshApps();
    EXPECT_EQ(mixer().activeTaps().size(), 2u);
  }
}

TEST_F(VolumeMixerEngineTest, AServerWithoutTapsIsToldAndSilencesNobody) {
  begin({.supportsProcessTaps = false});
  EXPECT_EQ(world->mixerError(), "Volume Mixer requires macOS 14.2 or later.");
  EXPECT_TRUE(mixer().activeTaps().empty());
  EXPECT_TRUE(world->logged("Failed to build tap for music"));
  EXPECT_NEAR(heard(), 0.25f, 0.001f);

  // Whoever observes the message may answer at once.
  mixer().setEnabled(false);
  const auto answer = mixer().errorMessage.observe([&](const auto& text) {
    if (text) mixer().setEnabled(false);
  });
  mixer().setEnabled(true);
  world->wait(0.1);
  EXPECT_FALSE(*mixer().isEnabled);
  EXPECT_EQ(counts().units, 0u);
}

// Each step of the output fails: the message is the user's, nothing is left, and the mixer is off, here and
// in the settings.
TEST_F(VolumeMixerEngineTest, AnOutputThatCannotBeBuiltLeavesTheMixerOff) {
  const std::vector<std::pair<Operation, std::string>> cases = {
      {Operation::newOutputUnit, "Failed to create audio output (-50)."},
      {Operation::defaultDevice, "No system default output device."},
      {Operation::unitSetCurrentDevice, "Failed to bind audio output (-50)."},
      {Operation::unitSetStreamFormat, "Failed to set audio output format (-50)."},
      {Operation::unitSetRenderCallback, "Failed to install render callback (-50)."},
      {Operation::unitInitialize, "Failed to initialize audio output (-50)."},
      {Operation::unitStart, "Failed to start audio output (-50)."}};
  begin();
  mixer().setEnabled(false);
  world->wait(0.1);
  const auto before = counts();
  for (const auto& [operation, message] : cases) {
    SCOPED_TRACE(operationName(operation));
    world->host().faults().failNth(operation, 1, -50);
    EXPECT_FALSE(mixer().setEnabled(true));
    EXPECT_EQ(world->mixerError(), message);
    EXPECT_FALSE(*mixer().isEnabled);
    EXPECT_EQ(world->settings.optionalBool("sonmere.volumeMixer.isEnabled"), false);
    EXPECT_EQ(counts(), before);
  }
  EXPECT_TRUE(mixer().setEnabled(true));
  EXPECT_EQ(world->mixerError(), "");
  EXPECT_EQ(counts().runningUnits, 1u);

  begin({.hasOutputComponent = false});
  EXPECT_EQ(world->mixerError(), "Audio system component not found.");
}

// The parallel rule: routed, hidden and Direct apps are left alone, each comes back with what the user set.
TEST_F(VolumeMixerEngineTest, TheMixerStepsAsideAndComesBack) {
  begin();
  mixer().setVolume("music", 0.5f);
  const auto expectLeftAlone = [&](Control control) {
    EXPECT_EQ(mixer().controlOf("music"), control);
    EXPECT_FALSE(world->tap("music"));
    EXPECT_FALSE(music.isSilenced());
    EXPECT_NEAR(heard(), 0.25f, 0.001f);
  };
  const auto expectBack = [&] {
    EXPECT_EQ(mixer().controlOf("music"), Control::mixer);
    EXPECT_EQ(music.tapCount(), 1u);
    EXPECT_NEAR(heard(), 0.125f, 0.001f);
  };
  expectBack();
  world->engine->setRouted("music", true);
  EXPECT_EQ(music.tapCount(), 1u);
  expectLeftAlone(Control::routed);
  mixer().setEnabled(false);
  EXPECT_EQ(mixer().controlOf("music"), Control::none);
  mixer().setEnabled(true);
  world->engine->setRouted("music", false);
  expectBack();
  world->engine->visibility().hide("music");
  expectLeftAlone(Control::hidden);
  world->engine->visibility().unhide("music");
  expectBack();
  EXPECT_TRUE(mixer().setDirect("music", true));
  expectLeftAlone(Control::direct);
  world->engine->setRouted("music", true);
  expectLeftAlone(Control::routed);
  world->engine->setRouted("music", false);
  expectLeftAlone(Control::direct);
  EXPECT_TRUE(mixer().setDirect("music", false));
  expectBack();

  // A route that fails leaves the app where it was.
  world->host().faults().failNth(Operation::createProcessTap, 1, -50);
  EXPECT_FALSE(world->engine->setRouted("music", true));
  expectBack();
}

// Every frame of the app bears its number. Through the mixer, by itself, routed and back: no frame sounds
// twice, none is mixed with another, and what is lost on the way from one path to the other is short.
TEST_F(VolumeMixerEngineTest, ChangingPathsDoublesNothingAndLosesLittle) {
  for (const bool settles : {false, true}) {
    SCOPED_TRACE(settles);
    begin({.needsSettling = settles});
    world->wait(0.5);
    const std::uint64_t from = speakers->frameCount();
    music.play(SampleSources::counter());
    world->wait(0.5);
    const std::vector<std::function<void()>> changes = {[&] { world->engine->setRouted("music", true); },
                                                        [&] { world->engine->setRouted("music", false); },
                                                        [&] { mixer().setDirect("music", true); },
                                                        [&] { mixer().setDirect("music", false); },
                                                        [&] { world->engine->visibility().hide("music"); },
                                                        [&] { world->engine->visibility().unhide("music"); },
                                                        [&] { mixer().setEnabled(false); },
                                                        [&] { mixer().setEnabled(true); },
                                                        [&] {
                                                          world->host().sleep();
                                                          world->host().wake();
                                                        },
                                                        [&] { world->launch("music.helper.Renderer"); }};
    for (const auto& change : changes) {
      change();
      world->wait(1.3);
    }
    const auto heardFrames = speakers->samplesFrom(from);
    std::int64_t last = 0, heardCount = 0, faults = 0;
    for (std::size_t i = 0; i + 1 < heardFrames.size(); i += 2) {
      const auto number = std::int64_t(std::lround(double(heardFrames[i]) * (1 << 24)));
      if (number == 0) continue;
      faults += number <= last || heardFrames[i + 1] != -heardFrames[i];
      last = number;
      ++heardCount;
    }
    EXPECT_EQ(faults, 0);
    const auto lost = std::int64_t(heardFrames.size() / 2) - heardCount;
    EXPECT_GT(heardCount, 48000 * 10);
    EXPECT_LT(lost, std::ssize(changes) * 4800) << "less than 0.1 s each";
  }
}

TEST_F(VolumeMixerEngineTest, SystemRowsAreNeverDirectAndSiriIsNeverTapped) {
  begin();
  for (const auto key : {FamilyRules::kSystemSoundsKey, FamilyRules::kCallAudioKey, FamilyRules::kSiriKey})
    EXPECT_FALSE(mixer().setDirect(std::string(key), true));
  EXPECT_TRUE(mixer().directBundleIDs->empty());

  auto siri = world->launch("com.apple.CoreSpeech");
  siri.play(SampleSources::tone(300, 0.25f));
  world->settle();
  const std::string key(FamilyRules::kSiriKey);
  ASSERT_FALSE(world->row(key).bundleID.empty());
  EXPECT_FALSE(world->tap(key));
  EXPECT_EQ(mixer().controlOf(key), Control::driver);
  mixer().setVolume(key, 0.5f);
  EXPECT_EQ(
      *world->trackNames->clientGains,
      (std::map<std::string, float>{
          {"com.apple.sirittsd", 0.5f}, {"com.apple.CoreSpeech", 0.5f}, {"com.apple.SiriNCService", 0.5f}}));
  mixer().setMuted(key, true);
  EXPECT_EQ(world->trackNames->clientGains->at("com.apple.sirittsd"), 0.0f);
  EXPECT_EQ(TrackNamesStore(world->settings).clientGains->size(), 3u) << "they are kept";
}

TEST_F(VolumeMixerEngineTest, AChangedFamilyGetsANewTapAndAnOrderDoesNot) {
  begin();
  const auto first = world->tap("music");
  auto helper = world->launch("music.helper.Renderer");
  helper.play(SampleSources::tone(440, 0.125f));
  world->settle();
  const auto second = world->tap("music");
  ASSERT_TRUE(second);
  EXPECT_NE(first, second);
  EXPECT_EQ(second->audioObjectIDs.size(), 2u);
  EXPECT_EQ(helper.tapCount(), 1u);

  RoutingInsides(*world->engine).change("music", [](TappedAppInfo& row) {
    std::ranges::reverse(row.audioObjectIDs);
  });
  EXPECT_EQ(world->tap("music"), second);

  world->engine->visibility().pin("music");
  helper.quit();
  music.quit();
  world->settle();
  EXPECT_FALSE(world->row("music").bundleID.empty()) << "the pinned row stays";
  EXPECT_FALSE(world->tap("music"));
  EXPECT_EQ(counts().taps, 1u);

  music = world->launch("music", "Music");
  music.play(SampleSources::tone(440, 0.25f));
  world->settle();
  EXPECT_TRUE(world->tap("music"));
  EXPECT_NEAR(heard(), 0.25f, 0.001f);

  // A row that goes takes its tap along.
  world->engine->visibility().unpin("music");
  game.quit();
  world->engine->visibility().remove("music");
  world->settle();
  EXPECT_TRUE(mixer().activeTaps().empty());
  EXPECT_EQ(counts().taps, 0u);
  EXPECT_NEAR(heard(), 0.25f, 0.001f);
}

// What played into the void while muted is never heard.
TEST_F(VolumeMixerEngineTest, UnmutingPlaysNoBacklog) {
  begin();
  music.play(SampleSources::tone(440, 0.9f));
  world->wait(0.2);
  mixer().setMuted("music", true);
  world->wait(0.5);
  music.play(SampleSources::tone(440, 0.1f));
  world->wait(0.2);
  speakers->takePeak();
  mixer().setMuted("music", false);
  world->wait(1);
  EXPECT_NEAR(speakers->takePeak(), 0.1f, 0.001f);
  EXPECT_LT(world->tap("music")->ring.available(), 4800);
}

TEST_F(VolumeMixerEngineTest, EffectsFollowTheTapEngineWhileDraggedAndWhenSet) {
  begin();
  const auto tap = world->tap("music");
  RoutingEffects& effects = world->engine->effects();
  const AppEQSettings bright{.isEnabled = true, .paraGain = 6};
  effects.setAppEqualiser("music", bright, SettingForm::live);
  EXPECT_TRUE(tap->eqEnabled);
  EXPECT_EQ(tap->eqCoefficients[5], coefficients48k(bright)[5]);
  effects.setAppEqualiser("music", {}, SettingForm::final);
  EXPECT_FALSE(tap->eqEnabled);

  tap->limiterGain = 0.5f;
  effects.setAppLimiter("music", {true, -6}, SettingForm::live);
  EXPECT_EQ(tap->limiterGain, 1.0f) << "switched on";
  EXPECT_EQ(tap->limiterCeiling, limiterCeiling(-6));
  tap->limiterGain = 0.5f;
  effects.setAppLimiter("music", {true, -3}, SettingForm::final);
  EXPECT_EQ(tap->limiterGain, 0.5f) << "it was on";
  EXPECT_FALSE(world->tap("game")->limiterEnabled);
  effects.setAppEqualiser("absent", bright, SettingForm::live);
  effects.setAppLimiter("absent", {true, -6}, SettingForm::live);

  // A new tap takes what is stored.
  mixer().setDirect("music", true);
  mixer().setDirect("music", false);
  EXPECT_TRUE(world->tap("music")->limiterEnabled);

  mixer().setOutputEqualiser(bright, SettingForm::live);
  EXPECT_EQ(*mixer().outputEQSettings, AppEQSettings{});
  mixer().setOutputEqualiser(bright);
  EXPECT_EQ(*mixer().outputEQSettings, bright);
  world->makeMixer();
  EXPECT_EQ(*mixer().outputEQSettings, bright);
}

TEST_F(VolumeMixerEngineTest, DirectIsOfferedOncePerProgram) {
  begin();
  auto daw = world->launch("com.cockos.reaper");
  daw.play(SampleSources::tone(440, 0.1f));
  world->settle();
  EXPECT_FALSE(mixer().shouldOfferDirect("music"));
  EXPECT_TRUE(mixer().shouldOfferDirect("com.cockos.reaper"));
  mixer().markDAWHintSeen("com.cockos.reaper");
  EXPECT_FALSE(mixer().shouldOfferDirect("com.cockos.reaper"));
  EXPECT_EQ(world->settings.stringArray("sonmere.volumeMixer.dawHintSeen"),
            std::vector<std::string>{"com.cockos.reaper"});
  EXPECT_TRUE(DAWHint::text("Reaper").starts_with("**Reaper** is controlled by Per-App Volume."));
}

// What other programs see of a tap, and what hides it from them.
TEST_F(VolumeMixerEngineTest, ATapIsPrivateAndSaysWhoseItIs) {
  begin();
  const auto taps = world->host().tapDescriptions();
  const auto aggregates = world->host().aggregateDescriptions();
  ASSERT_EQ(taps.size(), 2u);
  ASSERT_EQ(aggregates.size(), 2u);
  for (std::size_t i = 0; i < 2; ++i) {
    const bool isMusic = taps[i].name.ends_with("Music");
    const std::string name = isMusic ? "Music" : "game", app = isMusic ? "music" : "game";
    EXPECT_EQ(taps[i].name, "Sonmere Volume Mixer - " + name);
    EXPECT_TRUE(taps[i].isPrivate);
    EXPECT_FALSE(taps[i].exclusive);
    EXPECT_EQ(taps[i].mute, TapMute::muted);
    EXPECT_EQ(aggregates[i].name, "Sonmere VolMixer - " + name);
    const std::string prefix = "Sonmere_VolMixer_" + app + "_";
    EXPECT_TRUE(aggregates[i].uid.starts_with(prefix)) << aggregates[i].uid;
    EXPECT_EQ(aggregates[i].uid.size(), prefix.size() + 8);
    EXPECT_TRUE(aggregates[i].isPrivate);
    EXPECT_TRUE(aggregates[i].subDevices.empty());
    EXPECT_EQ(aggregates[i].tapUIDs.size(), 1u);
  }
}

TEST_F(VolumeMixerEngineTest, LatencyIsReportedForTapsThatAreNotMuted) {
  begin();
  world->wait(1);
  const auto snapshot = mixer().tapLatencySnapshot();
  ASSERT_EQ(snapshot.taps.size(), 2u);
  EXPECT_EQ(snapshot.taps[1].bundleID, "music");
  EXPECT_GT(snapshot.taps[1].reads, 50);
  EXPECT_EQ(snapshot.taps[1].overflows, 0);
  EXPECT_EQ(snapshot.sampleRate, 48000);
  EXPECT_LT(mixer().latencyRings()[1].backlogMs, 50);

  // The report in its own units: frames and milliseconds at the output's rate, from samples of two to a
  // frame.
  const auto tap = world->tap("music");
  const std::vector<float> late(4801);
  tap->ring.writer.write(late.data(), 4801);
  world->wait(0.1);
  tap->ring.reader().underruns = 3;
  tap->ring.reader().starves = 5;
  tap->ring.writer.overflows = 7;
  tap->ring.reader().maxBacklog = 9600;
  const TapLatencyStats stats = mixer().tapLatencySnapshot().taps[1];
  const RingReport row = mixer().latencyRings()[1];
  EXPECT_EQ(row.id, "music");
  EXPECT_GE(stats.backlogSamples, 4801);
  EXPECT_LT(stats.backlogSamples, 9600);
  EXPECT_EQ(row.backlogMs, double(stats.backlogSamples / 2) / 48000 * 1000);
  EXPECT_EQ(row.peakMs, 100);
  EXPECT_EQ(row.underruns, 3);
  EXPECT_EQ(row.starves, 5);
  EXPECT_EQ(row.overflows, 7);
  EXPECT_EQ(row.reads, stats.reads);
  EXPECT_EQ(row.writeFrames, 512);
  EXPECT_EQ(row.readFrames, 512);
  mixer().setMuted("music", true);
  EXPECT_EQ(mixer().tapLatencySnapshot().taps.size(), 1u);
  EXPECT_TRUE(mixer().fftBuffer("game"));
  EXPECT_TRUE(mixer().fftBuffer("__output__"));
  EXPECT_FALSE(mixer().fftBuffer("nobody"));
}

TEST_F(VolumeMixerEngineTest, TheTapEngineMayGoFirst) {
  begin();
  world->engine.reset();
  mixer().syncTaps();
  EXPECT_NEAR(heard(), 0.25f, 0.001f) << "nobody falls silent";
  mixer().setEnabled(false);
  EXPECT_EQ(counts().taps, 0u);
}

}  // namespace
}  // namespace sonmere
