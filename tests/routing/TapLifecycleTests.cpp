#include <gtest/gtest.h>

#include "support/RealtimeGuard.h"
#include "support/RoutingInsides.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

class TapLifecycleTest : public testing::Test {
 protected:
  void begin(SimulatedOptions options = {}) {
    world = std::make_unique<RoutingWorld>(1, options);
    music = world->launch("music");
    world->startEngine();
  }
  // The boundary calls made since the last look, in order, of those that make or destroy something.
  std::vector<std::string> newCalls() {
    static const std::set<std::string> kInteresting = {
        "createProcessTap", "tapUID",        "createAggregateDevice",  "createIOProc",     "startDevice",
        "stopDevice",       "destroyIOProc", "destroyAggregateDevice", "destroyProcessTap"};
    std::vector<std::string> names;
    const auto ledger = world->host().ledger();
    for (std::size_t i = seen; i < ledger.size(); ++i)
      if (std::string name(operationName(ledger[i].operation)); kInteresting.contains(name))
        names.push_back(name);
    seen = ledger.size();
    return names;
  }
  SimulatedHost::Counts counts() { return world->host().counts(); }

  std::unique_ptr<RoutingWorld> world;
  SimulatedApp music;
  std::size_t seen = 0;
};

// Each step of a creation fails once: what was made before is destroyed in reverse, the user and the log are
// told, the row is not routed, the intent stays, and the app sounds on.
TEST_F(TapLifecycleTest, AFailureAtAnyStepRollsBackExactlyWhatWasMade) {
  struct Case {
    Operation operation;
    bool forever;
    const char* message;
    const char* line;
    std::vector<std::string> undo;
  };
  const std::vector<Case> cases = {
      {Operation::createProcessTap,
       false,
       "Failed to tap music: error -50",
       "Sonmere: Failed to create process tap for music: -50",
       {}},
      {Operation::tapUID,
       true,
       "Failed to get tap UID for music",
       "Sonmere: Failed to get tap UID after retries: -50",
       {"destroyProcessTap"}},
      {Operation::createAggregateDevice,
       false,
       "Failed to create aggregate for music",
       "Sonmere: Failed to create aggregate device: -50",
       {"destroyProcessTap"}},
      {Operation::createIOProc,
       false,
       "Failed to create IO proc for music",
       "Sonmere: Failed to create IO proc: -50",
       {"destroyAggregateDevice", "destroyProcessTap"}},
      {Operation::startDevice,
       false,
       "Failed to start tap for music",
       "Sonmere: Failed to start IO: -50",
       {"startDevice", "destroyIOProc", "destroyAggregateDevice", "destroyProcessTap"}},
  };
  for (const Case& failing : cases) {
    SCOPED_TRACE(operationName(failing.operation));
    begin();
    music.play(SampleSources::tone(440, 0.5f));
    const auto before = counts();
    seen = world->host().ledger().size();
    failing.forever ? world->host().faults().failFrom(failing.operation, 1, -50)
                    : world->host().faults().failNth(failing.operation, 1, -50);
    EXPECT_FALSE(world->engine->setRouted("music", true));
    auto calls = newCalls();
    ASSERT_GE(calls.size(), failing.undo.size());
    EXPECT_EQ(std::vector(calls.end() - std::ptrdiff_t(failing.undo.size()), calls.end()), failing.undo);
    EXPECT_EQ(std::ranges::count(calls, "tapUID"), failing.forever                                    ? 5
                                                   : failing.operation == Operation::createProcessTap ? 0
                                                                                                      : 1);
    EXPECT_EQ(counts(), before);
    EXPECT_EQ(world->error(), failing.message);
    EXPECT_TRUE(world->logged(failing.line));
    EXPECT_TRUE(world->logged("startTap failed for music (pid " + std::to_string(music.pid()) +
                              ") — reverted to not-routed"));
    EXPECT_FALSE(world->row("music").isEnabled);
    EXPECT_EQ(world->settings.stringSet("sonmere.perapp.enabledApps"), std::set<std::string>{"music"});
    EXPECT_FALSE(music.isSilenced());

    world->host().faults().clear();
    EXPECT_TRUE(world->engine->setRouted("music", true)) << "the next try works";
    EXPECT_EQ(counts().runningIOProcs, 1u);
  }
}

TEST_F(TapLifecycleTest, FiveReadsOfATapsUIDTakeEightMilliseconds) {
  begin();
  world->host().faults().failFrom(Operation::tapUID, 1, -50);
  const Duration before = world->runtime.uptime();
  world->engine->setRouted("music", true);
  EXPECT_EQ(world->runtime.uptime() - before, fromMilliseconds(8));
  world->host().faults().clear();
  for (int i = 1; i <= 4; ++i) world->host().faults().failNth(Operation::tapUID, std::uint64_t(i), -50);
  EXPECT_TRUE(world->engine->setRouted("music", true)) << "the fifth read is in time";
}

TEST_F(TapLifecycleTest, RefusalsAreExplained) {
  begin({.supportsProcessTaps = false});
  EXPECT_FALSE(world->engine->setRouted("music", true));
  EXPECT_EQ(world->error(), "Per-app routing requires macOS 14.2 or later.");
  for (const auto status : {PermissionStatus::denied, PermissionStatus::restricted}) {
    begin({.audioCapture = status});
    world->host().faults().failNth(Operation::createProcessTap, 1, -50);
    EXPECT_FALSE(world->engine->setRouted("music", true));
    EXPECT_EQ(world->error(),
              status == PermissionStatus::restricted
                  ? "Screen Recording access is restricted by a system policy."
                  : "Screen Recording access denied. Open System Settings → Privacy & Security → Screen "
                    "Recording and "
                    "enable Sonmere. (Used to capture per-app audio — no video is recorded.)");
  }
}

// From the server that needs time to settle to the one that does not.
TEST_F(TapLifecycleTest, SettlingCostsTimeOnlyWhereTheServerNeedsIt) {
  for (const bool needs : {false, true}) {
    begin({.needsSettling = needs});
    const Duration before = world->runtime.uptime();
    ASSERT_TRUE(world->engine->setRouted("music", true));
    EXPECT_EQ(world->runtime.uptime() - before, needs ? fromMilliseconds(100) : Duration::zero());
  }
}

// What other programs see of a tap, and what hides it from them.
TEST_F(TapLifecycleTest, ATapIsPrivateAndSaysWhoseItIs) {
  begin();
  ASSERT_TRUE(world->engine->setRouted("music", true));
  const auto taps = world->host().tapDescriptions();
  const auto aggregates = world->host().aggregateDescriptions();
  ASSERT_EQ(taps.size(), 1u);
  ASSERT_EQ(aggregates.size(), 1u);
  EXPECT_EQ(taps[0].name, "Sonmere Tap - music");
  EXPECT_EQ(taps[0].processes, std::vector<AudioObjectID>{music.objectID()});
  EXPECT_TRUE(taps[0].isPrivate);
  EXPECT_FALSE(taps[0].exclusive);
  EXPECT_EQ(taps[0].mute, TapMute::unmuted);
  EXPECT_EQ(aggregates[0].name, "Sonmere Tap - music");
  const std::string prefix = "Sonmere_AppTap_" + std::to_string(music.pid()) + "_";
  EXPECT_TRUE(aggregates[0].uid.starts_with(prefix)) << aggregates[0].uid;
  EXPECT_EQ(aggregates[0].uid.size(), prefix.size() + 8);
  EXPECT_TRUE(aggregates[0].isPrivate);
  EXPECT_TRUE(aggregates[0].subDevices.empty());
  EXPECT_EQ(aggregates[0].tapUIDs.size(), 1u);
  EXPECT_TRUE(std::ranges::none_of(world->host().ledger(), [](const CallRecord& call) {
    return call.operation == Operation::setNominalSampleRate;
  })) << "it has the rate of the bus already";
}

// Each reason alone silences the app's own output.
TEST_F(TapLifecycleTest, AnyOfFiveReasonsMutesATap) {
  begin();
  world->engine->setBus("music", 4);
  ASSERT_TRUE(world->engine->setRouted("music", true));
  TapLifecycle& taps = RoutingInsides(*world->engine).taps;
  SingleAppTap& tap = *RoutingInsides(*world->engine).tap("music");
  BusMaster& master = RoutingInsides(*world->engine).render.masters[4];
  const std::vector<std::pair<const char*, std::function<void(bool)>>> reasons = {
      {"muted", [&](bool on) { tap.isMuted = on; }},
      {"its bus is monitored", [&](bool on) { master.monitor.setEnabled(on); }},
      {"it is monitored", [&](bool on) { tap.monitor.setEnabled(on); }},
      {"it plays on a device", [&](bool on) { tap.outputDeviceID = on ? 77 : kAudioObjectUnknown; }},
      {"Mix Mode", [&](bool on) { taps.mixModeIsEnabled = on; }}};
  EXPECT_FALSE(taps.wantsMutedTap(tap));
  for (const auto& [name, set] : reasons) {
    set(true);
    EXPECT_TRUE(taps.wantsMutedTap(tap)) << name;
    set(false);
    EXPECT_FALSE(taps.wantsMutedTap(tap)) << name;
  }
  RoutingInsides(*world->engine).render.masters[5].monitor.setEnabled(true);
  EXPECT_FALSE(taps.wantsMutedTap(tap)) << "another bus";
  master.monitor.setEnabled(true);
  EXPECT_TRUE(taps.applyMuteRule("music"));
  EXPECT_EQ(world->host().tapDescriptions()[0].mute, TapMute::muted);
}

TEST_F(TapLifecycleTest, SavedBusesThatCannotBeRoutedToBecomeTheBridge) {
  for (const int saved : {1, 12, -3}) {
    world = std::make_unique<RoutingWorld>();
    world->settings.set("sonmere.perapp.enabledApps", SettingsValue::Array{"music"});
    world->settings.set("sonmere.perapp.buses", SettingsValue::Dictionary{{"music", saved}});
    world->settings.set("sonmere.perapp.volumes", SettingsValue::Dictionary{{"music", 9.0}});
    world->settings.set("sonmere.perapp.outputDevices", SettingsValue::Dictionary{{"music", "gone"}});
    music = world->launch("music");
    world->startEngine();
    const auto tap = RoutingInsides(*world->engine).tap("music");
    ASSERT_TRUE(tap) << "armed on appearance";
    EXPECT_EQ(tap->busIndex, 0);
    EXPECT_EQ(tap->volume, 4.0f);
    EXPECT_TRUE(world->logged(
        "Sonmere: saved output device for music not present — bridge routing until it returns"));
  }
}

TEST_F(TapLifecycleTest, MutingSilencesTheAppAndTheBusAndUnmutingBringsBothBack) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  world->engine->setBus("music", 2);
  ASSERT_TRUE(world->engine->setRouted("music", true));
  const auto speakers = world->host().hear(SimulatedHost::kSpeakersUID);
  const auto track = world->host().readInput("ToneFerry_UID_Track_1");
  const auto heard = [&](const auto& ear) {
    world->wait(0.2);
    ear->takePeak();
    world->wait(0.2);
    return ear->takePeak();
  };
  EXPECT_GT(heard(speakers), 0.4f) << "an unmuted tap leaves the app on its output";
  EXPECT_GT(heard(track), 0.4f);
  const auto tap = RoutingInsides(*world->engine).tap("music");
  world->engine->setMuted("music", true);
  EXPECT_EQ(heard(speakers), 0);
  EXPECT_EQ(heard(track), 0);
  EXPECT_EQ(tap->level, 0);
  world->engine->setMuted("music", false);
  EXPECT_GT(heard(speakers), 0.4f);
  EXPECT_GT(heard(track), 0.4f);
  EXPECT_EQ(RoutingInsides(*world->engine).tap("music"), tap) << "rebuilt on the same object";
}

TEST_F(TapLifecycleTest, AFailedRebuildStopsTheTap) {
  begin();
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->host().faults().failFrom(Operation::startDevice, 1, -50);
  EXPECT_FALSE(world->engine->setMuted("music", true));
  EXPECT_FALSE(world->row("music").isEnabled);
  EXPECT_TRUE(RoutingInsides(*world->engine).activeTaps.empty());
  EXPECT_EQ(counts().taps, 0u);
  EXPECT_FALSE(music.isSilenced());
}

// A program that plays music and event sounds belongs to two families with one main process.
TEST_F(TapLifecycleTest, TwoFamiliesOfOneProcessAreBothTapped) {
  begin();
  auto sounds = world->launch("sounds");
  world->settle();
  TappedAppInfo second = world->row("sounds");
  second.id = world->row("music").id;
  ASSERT_TRUE(world->engine->setRouted("music", true));
  ASSERT_TRUE(RoutingInsides(*world->engine).taps.startTap(second));
  EXPECT_EQ(music.tapCount(), 1u);
  EXPECT_EQ(sounds.tapCount(), 1u);
  ASSERT_TRUE(RoutingInsides(*world->engine).tap("sounds"));
  EXPECT_TRUE(world->engine->setMuted("music", true)) << "each on its own";
  EXPECT_TRUE(world->engine->setRouted("music", false));
  EXPECT_EQ(counts().taps, 1u);
  EXPECT_EQ(sounds.tapCount(), 1u);
}

TEST_F(TapLifecycleTest, AHealedTapKeepsItsObjectAndALostOneItsRowTellsIt) {
  begin();
  ASSERT_TRUE(world->engine->setRouted("music", true));
  const auto tap = RoutingInsides(*world->engine).tap("music");
  const auto before = tap->objects.tapObjectID;
  RoutingInsides(*world->engine).taps.healTap("music");
  EXPECT_TRUE(world->logged("Sonmere: Healing tap PID " + std::to_string(music.pid()) +
                            " (suspected zero-buffer drift)"));
  EXPECT_EQ(RoutingInsides(*world->engine).tap("music"), tap);
  EXPECT_NE(tap->objects.tapObjectID, before);
  world->host().faults().failNth(Operation::createAggregateDevice, 1, -50);
  RoutingInsides(*world->engine).taps.healTap("music");
  EXPECT_FALSE(world->row("music").isEnabled);
  EXPECT_TRUE(world->logged("startTap failed for music (pid " + std::to_string(music.pid()) +
                            ") — reverted to not-routed"));
  EXPECT_TRUE(world->engine->setRouted("music", true)) << "and can be routed again";
  EXPECT_EQ(counts().taps, 1u);
}

// With two taps on a bus and a mic send on another: nothing starts while the engine ends, and nothing is
// left.
TEST_F(TapLifecycleTest, TheEndOfTheEngineLeavesNothingRunning) {
  begin();
  world->launch("radio");
  world->settle();
  for (const char* app : {"music", "radio"}) {
    world->engine->setBus(app, 3);
    ASSERT_TRUE(world->engine->setRouted(app, true));
  }
  world->engine->setMicSend(3, 0.5f);
  world->engine->setMicSend(5, 0.5f);
  world->wait(0.1);
  world->lines.clear();
  world->engine.reset();
  EXPECT_EQ(counts(), SimulatedHost::Counts{});
  for (const auto& line : world->lines) EXPECT_EQ(line.find("started"), std::string::npos) << line;
}

TEST_F(TapLifecycleTest, LevelsReachTheRowsWhileMetersShow) {
  begin();
  music.play(SampleSources::tone(440, 1));
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->wait(0.2);
  EXPECT_EQ(world->row("music").level, 0);
  world->engine->setMetersVisible(true);
  world->wait(0.2);
  EXPECT_GT(world->row("music").level, 0.9f);
  world->engine->setMetersVisible(false);
  music.play(SampleSources::silence());
  world->wait(0.5);
  EXPECT_GT(world->row("music").level, 0.9f) << "nobody looks";
  world->engine->setRouted("music", false);
  EXPECT_EQ(world->row("music").level, 0);
}

TEST_F(TapLifecycleTest, AStoppedTapLivesUntilTheGraceIsOver) {
  begin();
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->wait(0.5);
  const std::weak_ptr tap = RoutingInsides(*world->engine).tap("music");
  world->engine->setRouted("music", false);
  EXPECT_EQ(counts().taps, 0u);
  world->wait(1.99);
  EXPECT_FALSE(tap.expired());
  world->wait(0.02);
  EXPECT_TRUE(tap.expired());
}

TEST_F(TapLifecycleTest, AMoveOfBusTakesTheSoundAlongAndStopsTheEmptyBus) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  RealtimeGuard guard;
  world->engine->setBus("music", 2);
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->wait(0.3);
  // Into a bus that runs already, with a backlog that its unit would not cut by itself.
  world->engine->setMicSend(9, 0.5f);
  world->wait(0.1);
  const auto tap = RoutingInsides(*world->engine).tap("music");
  const float late[4000] = {};
  tap->ring.writer.write(late, 4000);
  EXPECT_TRUE(world->engine->setBus("music", 9));
  EXPECT_FALSE(world->engine->setBus("music", 1));
  EXPECT_FALSE(world->engine->setBus("music", 10));
  EXPECT_FALSE(world->engine->isBusRunning(2));
  const auto track8 = world->host().readInput("ToneFerry_UID_Track_8");
  world->wait(0.3);
  EXPECT_GT(track8->takePeak(), 0.4f);
  EXPECT_LE(tap->ring.reader().lastBacklog, 1024 + kTrimReserveSamples);
  EXPECT_REALTIME_SAFE(guard);
}

TEST_F(TapLifecycleTest, AServiceRestartBringsEveryRouteBack) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  world->engine->setBus("music", 2);
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->host().restartService(fromMilliseconds(400));
  world->wait(0.2);
  EXPECT_FALSE(music.isSilenced());
  world->wait(3);
  EXPECT_TRUE(world->row("music").isEnabled);
  EXPECT_EQ(music.tapCount(), 1u);
  const auto track = world->host().readInput("ToneFerry_UID_Track_1");
  world->wait(0.2);
  EXPECT_GT(track->takePeak(), 0.4f);
  EXPECT_EQ(counts().taps, 1u);
  EXPECT_EQ(counts().runningUnits, 1u);
}

// A route that waits has a row, also after a restart: it can be seen, changed and taken back.
TEST_F(TapLifecycleTest, ARouteWaitsForItsAppInARowOfItsOwn) {
  world = std::make_unique<RoutingWorld>();
  world->settings.set("sonmere.perapp.enabledApps", SettingsValue::Array{"com.vendor.Music", "radio"});
  world->settings.set("sonmere.pinnedApps", SettingsValue::Array{"systemsoundserverd", "com.vendor.Player"});
  world->settings.set("sonmere.cleanSlateMigration.v5", true);
  world->startEngine();
  AppTapEngine& engine = *world->engine;
  ASSERT_TRUE(engine.row("com.vendor.Music"));
  EXPECT_EQ(world->row("com.vendor.Music").name, "Music");
  EXPECT_EQ(world->row("systemsoundserverd").name, "System Sounds") << "by the name that it has when it runs";
  EXPECT_EQ(world->row("com.vendor.Player").name, "Player");
  EXPECT_TRUE(engine.isRouteWaiting("com.vendor.Music"));
  EXPECT_FALSE(engine.isRouteWaiting("com.vendor.Player"));

  engine.setVolume("com.vendor.Music", 0.25f);
  engine.setBus("com.vendor.Music", 4);
  EXPECT_TRUE(engine.setRouted("radio", false));
  world->settle();
  EXPECT_FALSE(engine.row("radio")) << "what only the wish had kept";
  engine.setGlobalEnabled(false);
  EXPECT_FALSE(engine.isRouteWaiting("com.vendor.Music")) << "nobody waits while routing is off";
  engine.setGlobalEnabled(true);
  world->launch("com.vendor.Music");
  world->launch("radio");
  world->settle();
  EXPECT_FALSE(engine.isRouteWaiting("com.vendor.Music"));
  ASSERT_TRUE(engine.tapOf("com.vendor.Music"));
  EXPECT_EQ(engine.tapOf("com.vendor.Music")->volume, 0.25f);
  EXPECT_EQ(engine.tapOf("com.vendor.Music")->busIndex, 4);
  EXPECT_FALSE(engine.tapOf("radio"));
}

TEST_F(TapLifecycleTest, AMessageEndsWithItsReason) {
  begin();
  AppTapEngine& engine = *world->engine;
  auto radio = world->launch("radio");
  world->settle();
  const auto failTap = [&](const char* app) {
    world->host().faults().failNth(Operation::createProcessTap, 1, -50);
    engine.setRouted(app, true);
  };
  failTap("music");
  failTap("radio");
  EXPECT_EQ(world->error(), "Failed to tap radio: error -50");
  world->launch("bystander");
  world->settle();
  EXPECT_EQ(world->error(), "Failed to tap radio: error -50") << "other apps change nothing";
  EXPECT_TRUE(engine.setRouted("radio", true));
  EXPECT_EQ(world->error(), "Failed to tap music: error -50") << "which has not ended";
  engine.setRouted("music", false);
  EXPECT_EQ(world->error(), "");
  failTap("music");
  music.quit();
  world->settle();
  EXPECT_EQ(world->error(), "") << "the app is gone";

  world->host().faults().failNth(Operation::unitStart, 1, -50);
  engine.setBus("radio", 5);
  EXPECT_NE(world->error(), "");
  world->launch("another");
  world->settle();
  EXPECT_EQ(world->error(), "") << "the bus was tried again";
  world->host().unplug("ToneFerry_UID_Track_6");
  engine.setBus("radio", 7);
  EXPECT_NE(world->error(), "");
  engine.setRouted("radio", false);
  EXPECT_EQ(world->error(), "") << "nobody wants the bus";
}

TEST_F(TapLifecycleTest, BoostIsTakenFromAllWhenItIsNotAllowedAndStaysTaken) {
  begin();
  ASSERT_TRUE(world->engine->setRouted("music", true));
  world->engine->setVolume("music", 7);
  EXPECT_EQ(world->row("music").volume, 4);
  world->wait(1);
  EXPECT_EQ(world->settings.dictionary("sonmere.perapp.volumes")->at("music"), SettingsValue(4.0));
  world->engine->setBoostAllowed(false);
  EXPECT_EQ(RoutingInsides(*world->engine).tap("music")->volume, 1.0f);
  world->engine->setBoostAllowed(true);
  EXPECT_EQ(world->row("music").volume, 1);
  EXPECT_EQ(world->settings.dictionary("sonmere.perapp.volumes")->at("music"), SettingsValue(1.0));
}

TEST_F(TapLifecycleTest, ADragOfTheVolumeIsSavedOnceAndNotLostAtTheEnd) {
  begin();
  for (int i = 0; i < 100; ++i) world->engine->setVolume("music", float(i) / 100);
  EXPECT_FALSE(world->settings.object("sonmere.perapp.volumes"));
  world->wait(0.6);
  EXPECT_EQ(world->settings.dictionary("sonmere.perapp.volumes")->at("music"), SettingsValue(0.99f));
  world->engine->setVolume("music", 0.25f);
  world->engine.reset();
  EXPECT_EQ(world->settings.dictionary("sonmere.perapp.volumes")->at("music"), SettingsValue(0.25f));
}

}  // namespace
}  // namespace sonmere
