#include <gtest/gtest.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "support/RoutingWorld.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {
namespace {

constexpr const char* kSpeakers = SimulatedHost::kSpeakersUID;
constexpr const char* kHeadset = SimulatedHost::kHeadsetUID;
constexpr const char* kVersion = "1.0";

struct SystemAudioTest : testing::Test {
  void begin() {
    engine.reset();
    world = std::make_unique<RoutingWorld>();
    world->host().setNominalRate(kSpeakers, 48000);
    world->settings.set(SystemAudioEngine::kSelectedOutputDeviceUIDKey, kSpeakers);
    launch();
  }
  void launch(const std::string& version = kVersion) {
    engine = std::make_unique<SystemAudioEngine>(world->context, version);
    engine->takeMicPeak = [this] { return micPeak; };
    engine->launch();
    world->wait(1.5);
  }
  SimulatedHost& host() { return world->host(); }
  std::string defaultUID() { return host().defaultUID(DefaultDevice::output); }
  bool isDefaultOurs() { return defaultUID().starts_with(kMultiOutputUID); }
  std::size_t aggregates() { return host().counts().aggregates; }
  std::string error() { return engine->errorMessage->value_or(""); }
  // Some other program takes it away, and nobody has been told so yet.
  void loseDevice() {
    AudioHardware& hardware = world->context.hardware();
    if (isDefaultOurs()) hardware.destroyAggregateDevice(hardware.deviceForUID(defaultUID()).value());
  }
  int logged(const std::string& part) {
    return int(std::ranges::count_if(world->lines, [&](const auto& line) { return line.contains(part); }));
  }
  // The two promises: the default is ours while the user asked for it, and at no other time.
  void expectSound(bool isOn) {
    EXPECT_EQ(*engine->isEnabled, isOn);
    EXPECT_EQ(isDefaultOurs(), isOn) << defaultUID();
    EXPECT_EQ(world->settings.boolValue(SystemAudioEngine::kEnabledKey), isOn);
    EXPECT_TRUE(!isOn || aggregates() == 1);
  }

  std::unique_ptr<RoutingWorld> world;
  std::unique_ptr<SystemAudioEngine> engine;
  std::optional<float> micPeak;
};

TEST_F(SystemAudioTest, WhatTheSystemPlaysReachesTheOutputAndTheBridgeOnceEach) {
  begin();
  SimulatedApp music = world->launch("music");
  music.play(SampleSources::tone(440, 0.25f));
  const auto speakers = host().hear(kSpeakers), bridge = host().readInput("ToneFerry_UID");
  const auto peaks = [&] {
    world->wait(0.5);
    speakers->takePeak(), bridge->takePeak();
    world->wait(0.5);
    return std::pair(std::round(speakers->takePeak() * 100) / 100,
                     std::round(bridge->takePeak() * 100) / 100);
  };
  ASSERT_TRUE(engine->setEnabled(true)) << error();
  EXPECT_EQ(peaks(), std::pair(0.25f, 0.25f));
  const auto description = host().aggregateDescriptions().at(0);
  EXPECT_EQ(description.name, "Sonmere + Built-in Speakers");
  EXPECT_EQ(description.master, kSpeakers);
  EXPECT_TRUE(description.isStacked && !description.isPrivate && description.subDevices[1].drift);
  EXPECT_EQ(logged("verify: mic"), 0);
  world->wait(2);
  EXPECT_EQ(logged("verify: SAP route OK — bridge is receiving audio"), 1);
  EXPECT_EQ(host().counts().ioProcs, 0u) << "nothing listens once that is known";
  const auto report = engine->sapRouteReport();
  EXPECT_TRUE(report.aggregateExists && report.bridgeInAggregate && report.aggregateIsDefaultOutput);
  EXPECT_EQ(report.pairedOutputName, "Built-in Speakers");
  ASSERT_TRUE(engine->select(kHeadset));
  expectSound(true);
  world->wait(0.5);
  EXPECT_EQ(peaks(), std::pair(0.0f, 0.25f));
  ASSERT_TRUE(engine->setEnabled(false));
  expectSound(false);
  EXPECT_EQ(defaultUID(), kSpeakers) << "as it was before";
  EXPECT_EQ(aggregates(), 0u);
  EXPECT_EQ(peaks(), std::pair(0.25f, 0.0f));
}

// From every state, each thing that happens to the default output and to the devices.
TEST_F(SystemAudioTest, TheDefaultIsOursOnlyWhileItIsAskedForWhateverHappens) {
  struct Event {
    const char* name;
    std::function<void()> happen;
    // Whether it is on afterwards, and with whom it is paired, by state: off, on, following and on.
    bool on[3];
    const char* paired[3];
  };
  const auto rebuilt = [this] { world->wait(4); };
  const std::vector<Event> events{
      {"nothing", [] {}, {false, true, true}, {kSpeakers, kSpeakers, kSpeakers}},
      {"the user chooses another output",
       [&] { host().setDefault(DefaultDevice::output, kHeadset); },
       {false, false, true},
       {kSpeakers, kSpeakers, kHeadset}},
      {"the user chooses the paired output",
       [&] { host().setDefault(DefaultDevice::output, kSpeakers); },
       {false, false, false},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"the paired output goes",
       [&] { host().unplug(kSpeakers); },
       {false, true, true},
       {kHeadset, kHeadset, kHeadset}},
      {"another goes and comes back",
       [&] {
         host().unplug(kHeadset);
         rebuilt();
         host().replug(kHeadset);
       },
       {false, true, true},
       {kSpeakers, kSpeakers, kHeadset}},
      {"the server restarts",
       [&] { host().restartService(); },
       {false, true, true},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"the machine sleeps",
       [&] {
         host().sleep();
         world->wait(5);
         host().wake();
       },
       {false, true, true},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"Mix Mode begins",
       [&] {
         world->settings.set("sonmere.mixMode.isEnabled", true);
         world->notifications.post("sonmereMixModeChanged");
       },
       {false, false, false},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"the route is rebuilt",
       [&] {
         loseDevice();
         engine->check(RevalidationReason::wake);
       },
       {false, true, true},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"the user resets it",
       [&] { engine->manualReset(); },
       {false, true, true},
       {kSpeakers, kSpeakers, kSpeakers}},
      {"the user turns it off",
       [&] { engine->setEnabled(false); },
       {false, false, false},
       {kSpeakers, kSpeakers, kSpeakers}},
  };
  for (std::size_t state = 0; state < 3; ++state) {
    for (const Event& event : events) {
      SCOPED_TRACE(std::string(event.name) + ", state " + std::to_string(state));
      begin();
      engine->setFollowing(state == 2);
      ASSERT_TRUE(state == 0 || engine->setEnabled(true)) << error();
      world->wait(1);
      event.happen();
      rebuilt();
      expectSound(event.on[state]);
      EXPECT_EQ((*engine->selectedOutput)->uid, event.paired[state]);
      ASSERT_TRUE(engine->setEnabled(false));
      EXPECT_FALSE(isDefaultOurs());
      engine.reset();
      EXPECT_FALSE(isDefaultOurs());
    }
  }
}

// A pass tells what it found, and asks for it again; what goes on breaking it leaves to the user.
TEST_F(SystemAudioTest, APassMakesTheMissingDeviceAnewTwiceAndListensToOneThatStands) {
  begin();
  EXPECT_EQ(engine->check(RevalidationReason::wake).verdict, RouteHealthVerdict::inactive);
  ASSERT_TRUE(engine->setEnabled(true));
  world->wait(3);
  for (int round = 1; round <= 2; ++round) {
    loseDevice();
    const RouteHealthEntry found = engine->check(RevalidationReason::deviceChange);
    EXPECT_EQ(found.verdict, RouteHealthVerdict::broken);
    EXPECT_EQ(found.detail, "Output device missing — rebuilding");
    world->wait(3);
    expectSound(true);
    EXPECT_EQ(logged("structural rebuild: aggregate missing on deviceChange — rebuilding (" +
                     std::to_string(round) + "/2)"),
              1);
  }
  const int verified = logged("verify: ");
  EXPECT_EQ(engine->check(RevalidationReason::deviceChange).detail, "Output Built-in Speakers");
  world->wait(2.1);
  EXPECT_EQ(logged("verify: "), verified + 1);
  loseDevice();
  engine->check(RevalidationReason::deviceChange);
  EXPECT_EQ(logged("budget exhausted (2), leaving route for manual reset"), 1);
}

TEST_F(SystemAudioTest, ChoosingOurDeviceInTheSystemTurnsItOnWithoutANewOne) {
  begin();
  ASSERT_TRUE(engine->setEnabled(true));
  world->wait(1);
  const std::string ours = defaultUID();
  host().setDefault(DefaultDevice::output, kHeadset);
  world->wait(1);
  expectSound(false);
  EXPECT_EQ(logged("ToneFerry: Detected external switch away from Multi-Output Device"), 1);
  host().setDefault(DefaultDevice::output, ours);
  world->wait(1);
  expectSound(true);
  EXPECT_EQ(defaultUID(), ours);
  // A program that fights for the default has the last word, and costs nothing.
  for (int round = 0; round < 40; ++round) {
    host().setDefault(DefaultDevice::output, round % 2 == 0 ? kHeadset : ours.c_str());
    world->wait(0.1);
  }
  expectSound(true);
  host().setDefault(DefaultDevice::output, kHeadset);
  world->wait(1);
  expectSound(false);
  ASSERT_TRUE(engine->setEnabled(true));
  EXPECT_EQ(aggregates(), 1u) << "what was left is gone";
}

TEST_F(SystemAudioTest, EveryStepThatFailsLeavesTheUsersOutput) {
  for (std::size_t each = 0; each < std::size_t(Operation::count); ++each) {
    for (std::uint64_t nth = 1; nth <= 8; ++nth) {
      const auto operation = Operation(each);
      SCOPED_TRACE(std::string(operationName(operation)) + " " + std::to_string(nth));
      begin();
      const std::uint64_t calls = host().faults().calls(operation);
      host().faults().failNth(operation, nth, -66);
      const bool isOn = engine->setEnabled(true);
      const bool hasFailed = host().faults().calls(operation) >= calls + nth;
      host().faults().clear();
      EXPECT_EQ(*engine->isEnabled, isOn);
      if (!isOn) {
        EXPECT_NE(error(), "");
        EXPECT_EQ(defaultUID(), kSpeakers);
        EXPECT_EQ(aggregates(), 0u);
      }
      world->wait(1);
      engine->setEnabled(false);
      EXPECT_FALSE(isDefaultOurs());
      if (!hasFailed) break;
    }
  }
  begin();
  host().removeDriver();
  world->wait(2);
  EXPECT_FALSE(engine->setEnabled(true));
  EXPECT_EQ(error(), "Tone Ferry driver not found");
  host().installDriver();
  world->wait(2);
  expectSound(true);
  EXPECT_EQ(error(), "") << "the wish has waited";
  // A wish that waits ends when the user takes it back, and with Mix Mode.
  for (const bool byMixMode : {false, true}) {
    begin();
    host().removeDriver();
    world->wait(2);
    EXPECT_FALSE(engine->setEnabled(true));
    world->settings.set("sonmere.mixMode.isEnabled", byMixMode);
    byMixMode ? world->notifications.post("sonmereMixModeChanged") : void(engine->setEnabled(false));
    EXPECT_EQ(error(), "");
    host().installDriver();
    world->wait(2);
    expectSound(false);
  }
  begin();
  for (const char* uid : {kSpeakers, kHeadset}) host().unplug(uid);
  world->settings.remove(SystemAudioEngine::kSelectedOutputDeviceUIDKey);
  launch();
  EXPECT_FALSE(engine->setEnabled(true));
  EXPECT_EQ(error(), "No output device selected");
  host().replug(kHeadset);
  world->wait(2);
  expectSound(true);
}

// The driver that is away at the start, or goes while another output is being paired, is waited for.
TEST_F(SystemAudioTest, ItComesBackWithADriverThatWasMissing) {
  begin();
  ASSERT_TRUE(engine->setEnabled(true));
  engine.reset();
  host().removeDriver();
  launch();
  world->wait(2);
  EXPECT_FALSE(isDefaultOurs());
  host().installDriver();
  world->wait(2);
  expectSound(true);
  host().removeDriver();
  world->wait(2);
  engine->select(kHeadset);
  world->wait(2);
  EXPECT_FALSE(*engine->isEnabled);
  EXPECT_EQ(error(), "Tone Ferry driver not found");
  host().installDriver();
  world->wait(2);
  expectSound(true);
  EXPECT_EQ((*engine->selectedOutput)->uid, kHeadset);
}

TEST_F(SystemAudioTest, AKilledRunLeavesADeviceThatTheNextOneReplacesAndAnEndLeavesNone) {
  begin();
  ASSERT_TRUE(engine->setEnabled(true));
  world->wait(1);
  engine.reset();
  EXPECT_EQ(defaultUID(), kSpeakers) << "an end gives the output back";
  EXPECT_EQ(aggregates(), 0u);
  EXPECT_TRUE(world->settings.boolValue(SystemAudioEngine::kEnabledKey)) << "for the next start";

  const auto left = MultiOutput(world->context).create({0, "Built-in Speakers", kSpeakers, {}});
  ASSERT_TRUE(left);
  const std::string leftUID = CoreAudioUtils::deviceUID(world->platform.hardware(), *left).value_or("");
  host().setDefault(DefaultDevice::output, leftUID);
  launch();
  expectSound(true);
  EXPECT_NE(defaultUID(), leftUID) << "never used again";
  ASSERT_TRUE(engine->setEnabled(false));
  EXPECT_EQ(defaultUID(), kSpeakers);
}

TEST_F(SystemAudioTest, AfterAnUpdateItComesBackOnceTheServerHasSettled) {
  begin();
  ASSERT_TRUE(engine->setEnabled(true));
  launch("2.0");
  expectSound(false);
  EXPECT_EQ(logged("First launch after update (1.0 → 2.0), SAP off until the audio system settles"), 1);
  world->wait(6);
  expectSound(true);
  EXPECT_FALSE(engine->hasUpdateNotice());

  // A bridge that stays flat though the microphone hears something: twice healed, then off, and told.
  micPeak = 0.5f;
  launch("3.0");
  world->wait(20);
  EXPECT_EQ(logged("healing (2/2)"), 1);
  EXPECT_EQ(logged("restore after update: self-test failed, switching SAP off with notice"), 1);
  expectSound(false);
  EXPECT_TRUE(engine->hasUpdateNotice());
  ASSERT_TRUE(engine->setEnabled(true));
  EXPECT_FALSE(engine->hasUpdateNotice());

  int endedOff = 0;
  const auto told = world->notifications.observe(SystemAudioEngine::kRestoreEndedOff,
                                                 [&](const NotificationInfo&) { ++endedOff; });
  host().removeDriver();
  launch("4.0");
  world->wait(40);
  EXPECT_EQ(logged("restore after update: audio system never settled, SAP off with notice"), 1);
  EXPECT_EQ(endedOff, 1);
  EXPECT_TRUE(engine->hasUpdateNotice());
}

TEST_F(SystemAudioTest, AFlatBridgeIsHealedOnlyWhereASoundIsKnownToBeThere) {
  begin();
  ASSERT_TRUE(engine->setEnabled(true));
  world->wait(10);
  EXPECT_EQ(logged("verify: bridge flat, mic off — relying on source fixes (no safe heal signal)"), 1);
  engine->setEnabled(false);
  micPeak = 0.12f;
  ASSERT_TRUE(engine->setEnabled(true));
  world->wait(10);
  EXPECT_GE(logged("verify: bridge flat but mic heard nothing (peak 0.12) — re-checking, no heal"), 3);
  EXPECT_EQ(logged("healing"), 0);
  micPeak = 0.13f;
  world->wait(20);
  EXPECT_EQ(logged("verify: bridge flat with mic running — still wedged after 2 heals, giving up"), 1);
  expectSound(true);
}

TEST(OutputRanking, PrefersWhatIsCertainAndTakesWhatTheUserMostLikelyHears) {
  using namespace TransportType;
  const auto device = [](AudioDeviceID id, const char* name, std::optional<std::uint32_t> transport) {
    return OutputCandidate{id, name, name, transport};
  };
  struct Case {
    std::vector<OutputCandidate> devices;
    AudioDeviceID preferred, best;
  };
  for (const Case& each : {
           Case{{device(1, "TV", hdmi), device(2, "Old", std::nullopt), device(3, "Sum", aggregate)}, 2, 0},
           Case{
               {device(1, "USB", usb), device(2, "Speakers", builtIn), device(3, "Pods", bluetoothLE)}, 2, 3},
           Case{{device(1, "Air", airPlay), device(2, "USB", usb), device(3, "Dock", thunderbolt)}, 2, 2},
           Case{{device(5, "MacBook Speakers", builtIn), device(4, "Headphones", builtIn)}, 5, 4},
           Case{{device(5, "Left Speakers", builtIn), device(4, "Right Speakers", builtIn)}, 5, 4},
           Case{{device(1, "Air", airPlay)}, 1, 1},
           Case{{}, 0, 0},
       }) {
    const auto id = [](const OutputCandidate* found) { return found ? found->id : 0; };
    EXPECT_EQ(id(preferredOutput(each.devices)), each.preferred);
    EXPECT_EQ(id(bestPhysicalOutput(each.devices)), each.best);
  }
}

}  // namespace
}  // namespace sonmere
