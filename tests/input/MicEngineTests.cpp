// The microphone's engine as users and machines treat it: starts that fail, devices that come and go, rates
// that do not fit, a server that restarts.
#include <gtest/gtest.h>

#include "InputWorld.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr const char* kMicUID = SimulatedHost::kMicrophoneUID;
constexpr const char* kHeadsetUID = SimulatedHost::kHeadsetUID;

TEST(MicEngine, WhatIsMissingIsSaidAndTheWishIsKept) {
  InputWorld world;
  world.host().unplug(kMicUID);
  world.host().unplug(kHeadsetUID);
  world.host().removeDriver();
  MicPassthroughEngine& engine = world.launch();
  engine.setEnabled(true);
  EXPECT_FALSE(*engine.isEnabled);
  EXPECT_TRUE(engine.isWanted());
  EXPECT_EQ(
      world.error(),
      "No microphone connected. Plug in a microphone (USB, built-in, or audio interface) and try again.");
  int changes = 0;
  const auto told = engine.isEnabled.observe([&](bool) { ++changes; });
  for (int look = 0; look < 100; ++look) {
    engine.check(RevalidationReason::deviceChange);
    world.wait(0.1);
  }
  EXPECT_EQ(changes, 0) << "a wish that waits is no news to those who look again at every change";
  world.host().replug(kHeadsetUID);
  world.wait(1);
  EXPECT_EQ(world.error(),
            "Tone Ferry device not found. The driver may not be loaded — try restarting your Mac, or run "
            "`sudo killall "
            "coreaudiod` in Terminal.");
  world.host().installDriver();
  world.wait(1);
  EXPECT_EQ(world.error(), "");
  EXPECT_TRUE(engine.isRunning());
  EXPECT_EQ(world.usedUID(), kHeadsetUID);
  EXPECT_EQ(engine.devices().savedUID(), "") << "nobody chose it";
  // Off means off, whatever comes.
  engine.setEnabled(false);
  world.host().unplug(kHeadsetUID);
  world.host().replug(kHeadsetUID);
  world.wait(1);
  EXPECT_FALSE(engine.isRunning());
  EXPECT_EQ(world.host().counts().units, 0u);
}

TEST(MicEngine, PermissionIsAskedForOnceAndARefusalIsSaid) {
  const auto errorWith = [](PermissionStatus status, bool grants, bool& runs) {
    InputWorld world;
    world.host().permissions().set(Permission::microphone, status);
    world.host().permissions().setAnswer(grants);
    MicPassthroughEngine& engine = world.launch();
    engine.setEnabled(true);
    world.wait(0.5);
    runs = engine.isRunning();
    EXPECT_TRUE(engine.isWanted());
    return world.error();
  };
  bool runs = false;
  EXPECT_EQ(
      errorWith(PermissionStatus::denied, true, runs),
      "Microphone access denied. Open System Settings → Privacy & Security → Microphone and enable Sonmere.");
  EXPECT_FALSE(runs);
  EXPECT_EQ(errorWith(PermissionStatus::restricted, true, runs),
            "Microphone access is restricted by a system policy (parental controls or MDM).");
  EXPECT_EQ(errorWith(PermissionStatus::notDetermined, false, runs),
            "Microphone access is required for mic passthrough.");
  EXPECT_FALSE(runs);
  EXPECT_EQ(errorWith(PermissionStatus::notDetermined, true, runs), "");
  EXPECT_TRUE(runs);
}

TEST(MicEngine, TheChosenDeviceIsLeftOnlyWhileItIsGone) {
  InputWorld world;
  MicPassthroughEngine& engine = world.run(kHeadsetUID);
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  EXPECT_EQ(engine.health().verdict, RouteHealthVerdict::healthy);
  world.host().unplug(kHeadsetUID);
  world.wait(1);
  EXPECT_EQ(engine.health().detail, "Input device disconnected");
  EXPECT_EQ(world.usedUID(), kMicUID) << "the default input";
  EXPECT_TRUE(engine.devices().isOnTemporaryFallback());
  EXPECT_TRUE(engine.isRunning());
  EXPECT_EQ(world.settings.string(MicDevices::kSelectedUIDKey), kHeadsetUID);
  world.host().plug(InputWorld::interface([] { return SampleSources::tone(500, 0.2f); }));
  world.wait(1);
  EXPECT_EQ(world.usedUID(), kMicUID) << "a third device is offered, not taken";
  ASSERT_TRUE(engine.newlyAvailableInput->has_value());
  EXPECT_EQ((*engine.newlyAvailableInput)->uid, InputWorld::kInterfaceUID);
  world.host().replug(kHeadsetUID);
  world.wait(1);
  EXPECT_EQ(world.usedUID(), kHeadsetUID);
  EXPECT_FALSE(engine.devices().isOnTemporaryFallback());
  EXPECT_TRUE(engine.isRunning());
  ear->takePeak();
  world.wait(1);
  EXPECT_GT(ear->takePeak(), 0.05f) << "it is heard again";
}

TEST(MicEngine, AStartThatFailsIsTriedOnceMore) {
  InputWorld world;
  MicPassthroughEngine& engine = world.launch();
  world.host().faults().failNth(Operation::unitStart, 2, -66);
  engine.setEnabled(true);
  EXPECT_TRUE(*engine.isEnabled);
  EXPECT_FALSE(engine.isRunning());
  EXPECT_TRUE(world.logged("mic start failed (Start error: -66) — retrying once in 1 s"));
  world.wait(1.1);
  EXPECT_TRUE(engine.isRunning());

  engine.setEnabled(false);
  world.host().faults().failFrom(Operation::unitStart, 1, -67);
  engine.setEnabled(true);
  world.wait(1.5);
  EXPECT_FALSE(*engine.isEnabled);
  EXPECT_EQ(world.error(), "Failed: Start error: -67");
  // Twice; then such pairs, however often it is looked at, at pauses of 2, 4, 8, 16 and 16 seconds.
  const auto attempts = [&] { return world.host().faults().calls(Operation::unitStart) - 4; };
  EXPECT_EQ(attempts(), 2u);
  for (int look = 0; look < 520; ++look) {
    engine.check(RevalidationReason::deviceChange);
    world.wait(0.1);
  }
  EXPECT_EQ(attempts(), 2u + 2u * 5);
  EXPECT_EQ(world.host().counts().units, 0u);
  world.host().faults().clear();
  world.host().unplug(kHeadsetUID);
  world.wait(1);
  EXPECT_TRUE(engine.isRunning()) << "what comes or goes has it tried at once";
}

// Every call of a start fails in turn: it says why, leaves nothing behind, and the next start works.
TEST(MicEngine, AFailureAnywhereInTheStartLeavesNothingBehind) {
  int failures = 0;
  for (const Operation operation :
       {Operation::newOutputUnit, Operation::unitSetEnableIO, Operation::unitSetCurrentDevice,
        Operation::unitSetStreamFormat, Operation::unitSetMaximumFramesPerSlice,
        Operation::unitSetRenderCallback, Operation::unitSetInputCallback, Operation::unitInitialize,
        Operation::unitStart, Operation::nominalSampleRate, Operation::createIOProc, Operation::startDevice,
        Operation::addListener})
    for (std::uint64_t nth = 1; nth <= 2; ++nth) {
      InputWorld world;
      MicPassthroughEngine& engine = world.launch();
      const auto before = world.host().counts();
      world.host().faults().failNth(operation, nth, -50);
      engine.setEnabled(true);
      failures += !engine.isRunning();
      EXPECT_TRUE(engine.isRunning() || world.logged("ToneFerry: Passthrough FAILED: "))
          << operationName(operation);
      engine.setEnabled(false);
      world.wait(3);
      auto after = world.host().counts();
      after.listeners = before.listeners;  // the bridge's rate is followed from the first start on
      EXPECT_EQ(after, before) << operationName(operation) << " " << nth;
      engine.setEnabled(true);
      world.wait(1.2);
      EXPECT_TRUE(engine.isRunning()) << operationName(operation) << " " << nth;
    }
  EXPECT_GE(failures, 14);
}

TEST(MicEngine, TheMicrophonesRateIsForcedAndGivenBack) {
  const auto worldWith = [](InputWorld& world, double rate, std::vector<double> rates, double delay) {
    auto device = InputWorld::interface([] { return SampleSources::tone(440, 0.3f); });
    device.nominalRate = rate;
    device.availableRates = std::move(rates);
    device.rateChangeDelay = fromSeconds(delay);
    world.host().plug(device);
    world.launch();
    world.engine->select(InputWorld::kInterfaceUID);
    world.engine->setEnabled(true);
  };
  {
    InputWorld world;
    worldWith(world, 44100, {44100, 48000}, 0.45);
    EXPECT_TRUE(world.engine->isRunning());
    EXPECT_EQ(world.host().nominalRate(InputWorld::kInterfaceUID), 48000);
    world.engine->setEnabled(false);
    world.wait(1);
    EXPECT_EQ(world.host().nominalRate(InputWorld::kInterfaceUID), 44100);
  }
  {  // Too slow: the bridge goes where the microphone is.
    InputWorld world;
    worldWith(world, 44100, {44100, 48000}, 0.75);
    EXPECT_EQ(world.engine->route().value().bridgeRate, 44100);
    EXPECT_EQ(world.host().nominalRate(InputWorld::kBridgeUID), 44100);
  }
  {  // A rate that the bridge hasn't, and that is no call's.
    InputWorld world;
    worldWith(world, 88200, {88200}, 0);
    EXPECT_FALSE(world.engine->isRunning());
    EXPECT_EQ(world.error(),
              "Interface stays at 88200 Hz, and the bridge can't run at that rate. Set it to 48000 Hz, or "
              "choose another "
              "microphone.");
    EXPECT_TRUE(world.engine->select(kMicUID));
    EXPECT_TRUE(world.engine->isRunning());
  }
  {  // The same, but slow: it starts once the microphone has arrived.
    InputWorld world;
    worldWith(world, 88200, {88200, 48000}, 0.75);
    EXPECT_FALSE(world.engine->isRunning());
    world.wait(1);
    EXPECT_TRUE(world.engine->isRunning()) << world.error();
  }
}

// While its rate is waited for the device is pulled out: the bridge stays where it is, another serves, and
// the chosen one is back when it comes.
TEST(MicEngine, AnInputThatVanishesDuringTheStartIsReplacedUntilItIsBack) {
  InputWorld world;
  auto device = InputWorld::interface([] { return SampleSources::tone(440, 0.3f); });
  device.nominalRate = 44100;
  device.availableRates = {44100, 48000};
  device.rateChangeDelay = fromSeconds(5);
  world.host().plug(device);
  MicPassthroughEngine& engine = world.launch();
  ASSERT_TRUE(engine.select(InputWorld::kInterfaceUID));
  const auto hand = world.runtime.serialQueue("hand");
  hand->postAfter(fromSeconds(0.25), [&world] { world.host().unplug(InputWorld::kInterfaceUID); });
  engine.setEnabled(true);
  EXPECT_FALSE(engine.isRunning());
  EXPECT_TRUE(world.logged("ToneFerry: Passthrough FAILED: Device set error"));
  EXPECT_EQ(world.host().nominalRate(InputWorld::kBridgeUID), 48000);
  world.wait(2);
  EXPECT_TRUE(engine.isRunning()) << world.error();
  EXPECT_EQ(world.usedUID(), kMicUID);
  EXPECT_EQ(engine.devices().savedUID(), InputWorld::kInterfaceUID);
  EXPECT_EQ(world.host().nominalRate(InputWorld::kBridgeUID), 48000);
  world.host().replug(InputWorld::kInterfaceUID);
  world.wait(2);
  EXPECT_EQ(world.usedUID(), InputWorld::kInterfaceUID);
  EXPECT_TRUE(engine.isRunning()) << world.error();
}

// An interface of 40 inputs: any of them can be chosen or mixed in, and the first 32 are metered.
TEST(MicEngine, AnInterfaceOfManyChannelsIsTakenAsItIs) {
  InputWorld world;
  auto device = InputWorld::interface([] { return SampleSources::tone(440, 0.5f); });
  device.inputChannels = 40;
  world.host().plug(device);
  MicPassthroughEngine& engine = world.launch();
  ASSERT_TRUE(engine.select(InputWorld::kInterfaceUID));
  engine.setChannelMode(InputChannelMode::custom);
  engine.setCustomChannels({38, 99});  // there is no hundredth: the last serves
  const std::string extra = engine.extras().add("Last", 39);
  const RealtimeGuard guard;
  engine.setEnabled(true);
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  world.wait(1);
  EXPECT_EQ(engine.channelCount(), 40);
  EXPECT_NEAR(ear->takePeak(), 1.0f, 0.01f) << "the pair, and the further input on top";
  EXPECT_NEAR(engine.renderState().channelLevels[31], 0.5f, 0.01f);
  EXPECT_NEAR(engine.extras().level(extra), 0.5f, 0.01f);
  EXPECT_REALTIME_SAFE(guard);
}

// A headset in its call mode: captured at its rate, and converted on its way.
TEST(MicEngine, ASlowInputIsConvertedAtItsPitch) {
  InputWorld world;
  auto device = InputWorld::interface([] { return SampleSources::tone(400, 0.5f); });
  device.nominalRate = 8000;
  device.availableRates = {8000};
  world.host().plug(device);
  MicPassthroughEngine& engine = world.run(InputWorld::kInterfaceUID);
  EXPECT_TRUE(
      world.logged("stays at 8000.000000 Hz, a rate the bridge can't run at: capturing at 8000.000000 Hz and "
                   "converting to 48000.000000 Hz"));
  EXPECT_TRUE(engine.route()->isConverted());
  world.wait(2);
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  world.wait(2);
  int crossings = 0;
  const auto heard = ear->samples();
  for (std::size_t i = 2; i < heard.size(); i += 2) crossings += heard[i - 2] < 0 && heard[i] >= 0;
  EXPECT_NEAR(crossings, 400 * 2, 12);
  EXPECT_LE(engine.renderState().counters.starves + engine.renderState().counters.underruns, 2)
      << "until a block is in reserve";
}

// A bridge that stays flat while the mic hears a voice is healed twice, then left.
TEST(MicEngine, AWedgedRouteIsHealed) {
  InputWorld world;
  MicPassthroughEngine& engine = world.run(kMicUID);
  world.wait(2);
  EXPECT_TRUE(world.logged("verify: mic route OK"));
  engine.setEnabled(false);
  world.lines.clear();
  // The bridge takes what is played and hands on nothing.
  auto deaf = InputWorld::interface(nullptr);
  deaf.uid = InputWorld::kBridgeUID;
  deaf.outputChannels = deaf.inputChannels = 2;
  world.host().removeDriver();
  world.host().plug(deaf);
  world.wait(1);
  engine.setEnabled(true);
  world.wait(10);
  EXPECT_EQ(std::ranges::count(world.lines, "verify: bridge flat with mic running — healing the mic route"),
            2);
  EXPECT_TRUE(world.logged("still wedged after 2 heals, giving up"));
  EXPECT_TRUE(engine.isRunning());
  // With the volume at nothing a flat bridge is as it should be.
  engine.setEnabled(false);
  engine.setVolume(0);
  world.lines.clear();
  engine.setEnabled(true);
  world.wait(10);
  EXPECT_FALSE(world.logged("healing"));
}

TEST(MicEngine, ItIsBackAfterTheServerAndAfterTheBridge) {
  InputWorld world;
  MicPassthroughEngine& engine = world.run(kMicUID);
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  const auto isHeard = [&] {
    ear->takePeak();
    world.wait(0.5);
    return ear->takePeak() > 0.05f;
  };
  world.wait(0.5);
  EXPECT_TRUE(isHeard());
  world.host().restartService(fromMilliseconds(700));
  world.wait(4);
  EXPECT_TRUE(isHeard());
  world.host().removeDriver();
  world.wait(1);
  world.host().installDriver();
  world.wait(1);
  EXPECT_TRUE(isHeard());
  ASSERT_TRUE(world.host().setNominalRate(InputWorld::kBridgeUID, 96000));
  world.wait(2);
  EXPECT_TRUE(world.logged("ToneFerry: bridge rate changed to 96000 Hz — restarting mic passthrough"));
  EXPECT_EQ(engine.route()->bridgeRate, 96000);
  EXPECT_TRUE(isHeard());
  EXPECT_EQ(world.host().counts().units, 2u);
}

TEST(MicEngine, WhatWasSetIsThereAtTheNextStart) {
  InputWorld world;
  {
    MicPassthroughEngine& engine = world.run(kHeadsetUID);
    engine.setVolume(0.5f);
    engine.setChannelMode(InputChannelMode::custom);
    engine.setCustomChannels({3, 1});
    engine.setEqualiser({true, 100, 9000, 2000, 3, 2});
    engine.setLimiter({true, -3});
    engine.setVolume(std::nanf(""));
    const std::string id = engine.extras().add("Guitar", 5);
    engine.extras().change({id, "Guitar", 5, 9.0f, true, 0.5f});
    engine.extras().setEqualiser(id, {true, 200, 9000, 2000, 3, 2});
  }
  world.engine.reset();
  MicPassthroughEngine& engine = world.launch();
  EXPECT_TRUE(engine.isRunning());
  EXPECT_EQ(world.usedUID(), kHeadsetUID);
  EXPECT_EQ(*engine.micVolume, 0.5f);
  EXPECT_EQ(*engine.inputChannelMode, InputChannelMode::custom);
  EXPECT_EQ(engine.customChannels->left, 3);
  EXPECT_EQ(engine.eqSettings->paraFreq, 2000);
  EXPECT_EQ(engine.limiterSettings->ceilingDb, -3);
  ASSERT_EQ(engine.extras().extraSources->size(), 1u);
  const MicExtraSource& extra = engine.extras().extraSources->front();
  EXPECT_EQ(extra.gain, MicExtraSource::kMaxGain);
  EXPECT_TRUE(extra.isMuted);
  EXPECT_EQ(engine.extras().equaliserOf(extra.id).highPassFreq, 200);
  // They belong to the device.
  EXPECT_TRUE(engine.select(kMicUID));
  EXPECT_TRUE(engine.extras().extraSources->empty());
  EXPECT_FALSE(engine.select("nowhere"));
  EXPECT_EQ(engine.devices().savedUID(), kMicUID);
  // What another program wrote is no reason to fall over.
  world.engine.reset();
  world.settings.set(MicPassthroughEngine::kVolumeKey, -8.0);
  world.settings.set(MicPassthroughEngine::kModeKey, std::int64_t(77));
  world.settings.set(std::string("sonmere.mic.extraSources.") + kMicUID, SettingsData{"[{\"id\":1}]"});
  EXPECT_EQ(*world.launch().micVolume, 0.0f);
  EXPECT_EQ(*world.engine->inputChannelMode, InputChannelMode::automatic);
}

}  // namespace
}  // namespace sonmere
