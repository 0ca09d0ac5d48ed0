#include <gtest/gtest.h>

#include <atomic>

#include "Signals.h"
#include "VirtualMachine.h"
#include "base/LiveRuntime.h"

namespace sonmere {
namespace {

constexpr Duration kPatience = std::chrono::seconds(20);

struct LiveMachine {
  Log log;
  LiveRuntime runtime;
  SimulatedPlatform platform{runtime, log};
  SimulatedHost& host() { return platform.host(); }
  AudioHardware& hardware() { return platform.hardware(); }
  bool waitFor(const std::function<bool()>& condition) { return runtime.waitUntil(condition, kPatience); }
};

// Counts the frames of a running probe without touching what its thread writes.
struct Frames {
  std::shared_ptr<DeviceRecorder> ear;
  std::uint64_t count() const { return ear->frameCount(); }
};

TEST(SimulatedLive, ProceduresStartAndStopWhileProgramsComeAndGo) {
  LiveMachine machine;
  machine.host().plug(speakers("A", 8));
  machine.host().plug(speakers("B", -20));
  SimulatedApp counted = machine.host().launchApp(program("counted"));
  counted.play(SampleSources::counter());
  const Frames here{machine.host().hear("A", DeviceRecorder::Keep::hashOnly)};
  for (int round = 0; round < 12; ++round) {
    SimulatedApp visitor = machine.host().launchApp(program("visitor"));
    visitor.setDevice(round % 2 == 0 ? "A" : "B");
    TapProbe probe(machine.hardware(), {counted.objectID()}, TapMute::muted);
    TapProbe both(machine.hardware(), {counted.objectID(), visitor.objectID()}, TapMute::unmuted);
    ASSERT_EQ(probe.start(), noErr);
    ASSERT_EQ(both.start(), noErr);
    visitor.play(SampleSources::tone(440, 0.1f));
    const std::uint64_t start = here.count();
    ASSERT_TRUE(machine.waitFor([&] { return here.count() > start + 4096; }));
    if (round % 3 == 0) visitor.quit();
    // After the stop the samples are the test's: a cycle still running would be a data race.
    ASSERT_EQ(probe.stop(), noErr);
    ASSERT_GE(probe.samples.size(), 2u * 4096);
    EXPECT_EQ(counterBreaks(probe.samples, 0), 0u);
  }
}

TEST(SimulatedLive, UnpluggingEndsEveryCallback) {
  LiveMachine machine;
  machine.host().plug(speakers("A"));
  machine.host().installDriver();
  for (int round = 0; round < 8; ++round) {
    machine.host().plug(speakers("B", 100));
    const AudioDeviceID device = machine.hardware().deviceForUID("B").value();
    auto player = std::make_unique<PlayingUnit>(machine.hardware(), device, SampleSources::counter());
    AggregateDescription description;
    description.uid = "both";
    description.subDevices = {{"B", false}, {"ToneFerry_UID", true}};
    const AudioDeviceID aggregate = machine.hardware().createAggregateDevice(description).value();
    auto spread = std::make_unique<PlayingUnit>(machine.hardware(), aggregate, SampleSources::counter(),
                                                AudioStreamFormat{44100, 4});
    ASSERT_EQ(player->unit->start(), noErr);
    ASSERT_EQ(spread->unit->start(), noErr);
    const auto bridge = machine.host().readInput("ToneFerry_UID");
    ASSERT_TRUE(machine.waitFor([&] { return bridge->takePeak() > 0; }));
    machine.host().unplug("B");
    // The player's memory goes while its unit still believes to be started.
    const std::size_t calls = player->blockFrames.size();
    EXPECT_GT(calls, 0u);
    player.reset();
    spread->unit->stop();
    EXPECT_EQ(machine.hardware().destroyAggregateDevice(aggregate), noErr);
  }
}

TEST(SimulatedLive, RestartAndSleepMeetRunningClients) {
  LiveMachine machine;
  machine.host().plugStandardMachine();
  SimulatedApp app = machine.host().launchApp(program("app"));
  app.play(SampleSources::counter());
  const auto ear = machine.host().hear(SimulatedHost::kSpeakersUID);
  for (int round = 0; round < 5; ++round) {
    TapProbe probe(machine.hardware(), {app.objectID()}, TapMute::muted);
    const AudioDeviceID microphone = machine.hardware().deviceForUID(SimulatedHost::kMicrophoneUID).value();
    CapturingUnit capture(machine.hardware(), microphone, {48000, 1});
    probe.start();
    capture.unit->start();
    std::uint64_t start = ear->frameCount();
    ASSERT_TRUE(machine.waitFor([&] { return ear->frameCount() > start + 2048; }));
    machine.host().sleep();
    EXPECT_GT(capture.samples.size(), 0u);
    EXPECT_EQ(counterBreaks(probe.samples, 0), 0u);
    machine.host().wake();
    machine.host().restartService();
    start = ear->frameCount();
    ASSERT_TRUE(machine.waitFor([&] { return ear->frameCount() > start + 2048; }));
    EXPECT_GE(firstSound(ear->samplesFrom(start)), 0);
  }
}

TEST(SimulatedLive, UnitsAreTornDownOnAQueueWhileTheServiceRestarts) {
  LiveMachine machine;
  machine.host().plug(speakers("A"));
  const auto teardown = machine.runtime.serialQueue("teardown");
  for (int round = 0; round < 10; ++round) {
    const AudioDeviceID device = machine.hardware().deviceForUID("A").value();
    std::atomic<int> gone{0}, begun{0};
    for (int i = 0; i < 8; ++i) {
      auto player = std::make_shared<PlayingUnit>(machine.hardware(), device, SampleSources::counter());
      ASSERT_EQ(player->unit->start(), noErr);
      teardown->post([player = std::move(player), &gone, &begun]() mutable {
        ++begun;
        (void)player->unit->currentDevice();
        (void)player->unit->hardwareFormat(AudioScope::output);
        (void)player->unit->start();
        (void)player->unit->stop();
        (void)player->unit->uninitialize();
        player.reset();
        ++gone;
      });
    }
    ASSERT_TRUE(machine.waitFor([&] { return begun > 0; }));
    machine.host().restartService();
    ASSERT_TRUE(machine.waitFor([&] { return gone == 8; }));
    EXPECT_EQ(machine.host().counts(), SimulatedHost::Counts{});
  }
}

TEST(SimulatedLive, ACaptureObserverEndsWhileItsOwnQueueIsTold) {
  LiveMachine machine;
  machine.host().installDriver();
  const auto queue = machine.runtime.serialQueue("observer");
  const AudioDeviceID device = machine.hardware().deviceForUID("ToneFerry_UID").value();
  auto engine = machine.platform.newCaptureEngine();
  ASSERT_EQ(engine->setCurrentDevice(device), noErr);
  std::atomic<int> kept{0};
  const auto keeper = engine->observeConfigurationChange(*queue, [&] { ++kept; });
  for (int round = 0; round < 20; ++round) {
    std::vector<Subscription> passing;
    for (int i = 0; i < 20; ++i) passing.push_back(engine->observeConfigurationChange(*queue, [] {}));
    ASSERT_EQ(engine->start(), noErr);
    ASSERT_TRUE(machine.host().setNominalRate("ToneFerry_UID", round % 2 == 0 ? 44100 : 48000));
    passing.clear();
    ASSERT_TRUE(machine.waitFor([&] { return kept == round + 1; }));
  }
}

}  // namespace
}  // namespace sonmere
