#include "routing/monitor/MonitorOutput.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "input/MicPassthroughEngine.h"
#include "routing/monitor/MonitorRender.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

using Samples = std::vector<float>;

// The render alone, with rings that the test fills.
class MonitorRenderTest : public testing::Test {
 protected:
  ~MonitorRenderTest() override { EXPECT_REALTIME_SAFE(guard); }

  std::vector<std::shared_ptr<MonitorSource>> offer(MonitorPlace place, int count) {
    std::vector<std::shared_ptr<MonitorSource>> made;
    for (int i = 0; i < count; ++i) {
      made.push_back(std::make_shared<MonitorSource>());
      made.back()->setEnabled(true);
    }
    monitors.offer(place, made);
    return made;
  }
  Samples noise(std::size_t samples) {
    std::uniform_real_distribution<float> distribution(-1, 1);
    Samples result(samples);
    for (float& sample : result) sample = distribution(random);
    return result;
  }
  static void write(MonitorSource& source, const Samples& samples, float gain = 1) {
    source.ring()->writer.write(samples.data(), std::int64_t(samples.size()), gain);
  }
  static StereoRing::Reader& reader(MonitorSource& source) { return source.ring()->reader(); }
  Samples render(std::size_t frames) {
    Samples out(2 * frames, 7.0f);
    AudioBuffer buffer{2, std::uint32_t(out.size() * 4), out.data()};
    EXPECT_EQ(renderMonitor(static_cast<RenderContext*>(&context), {}, std::uint32_t(frames), {&buffer, 1}),
              noErr);
    return out;
  }

  RealtimeGuard guard;
  VirtualRuntime runtime{1};
  RenderRetirement retirement{runtime};
  MonitorSources monitors{retirement};
  MonitorContext context{monitors.mix(), 48000};
  std::mt19937 random{5};
};

TEST_F(MonitorRenderTest, EightTapsEightBusesAndTheMicrophoneAreAPlainSumBitForBit) {
  // Offered in another order than that of the sum.
  const auto mic = offer(MonitorPlace::microphone, 1), taps = offer(MonitorPlace::taps, 8),
             buses = offer(MonitorPlace::buses, 9);
  buses[8]->setEnabled(false);
  buses[3]->gain = 0.3f;
  std::vector<std::shared_ptr<MonitorSource>> all(taps);
  all.insert(all.end(), buses.begin(), buses.begin() + 8);
  all.push_back(mic[0]);
  render(64);
  std::uniform_int_distribution<std::size_t> sizes(1, 2048);
  for (int block = 0; block < 300; ++block) {
    const std::size_t frames = sizes(random);
    Samples sum(2 * frames, 0.0f);
    for (const auto& source : all) {
      const Samples sound = noise(2 * frames);
      write(*source, sound);
      for (std::size_t i = 0; i < sound.size(); ++i)
        sum[i] += source == buses[3] ? sound[i] * 0.3f : sound[i];
    }
    ASSERT_EQ(render(frames), sum) << "block " << block;
  }
  EXPECT_EQ(reader(*mic[0]).reads, 300);
  EXPECT_EQ(reader(*mic[0]).misses(), 0);
}

TEST_F(MonitorRenderTest, AReaderThatFellBehindJumpsToTwentyMillisecondsBehindAndLagsEightyAtMost) {
  const auto source = offer(MonitorPlace::taps, 1)[0];
  render(480);
  write(*source, noise(9600));
  const Samples newest = noise(960 + kCaughtUpLagSamples);
  write(*source, newest);
  EXPECT_EQ(render(480), Samples(newest.begin(), newest.begin() + 960));
  EXPECT_EQ(reader(*source).lastBacklog, 1920) << "20 ms of stereo at 48 kHz";
  // Exactly what is allowed is kept.
  write(*source, noise(kMostLagSamples - 1920 + 960));
  render(480);
  EXPECT_EQ(reader(*source).lastBacklog, 7680);
  write(*source, noise(962));
  render(480);
  EXPECT_EQ(reader(*source).lastBacklog, 1920);
  std::uniform_int_distribution<std::size_t> sizes(1, 4096);
  for (int cycle = 0; cycle < 2000; ++cycle) {
    write(*source, noise(2 * sizes(random)));
    render(sizes(random));
    ASSERT_LE(reader(*source).lastBacklog, 7680) << "80 ms";
  }
  EXPECT_GT(reader(*source).misses(), 0) << "blocks that found too little";
}

TEST_F(MonitorRenderTest, WhatIsNotThereIsSilenceAndWhatIsOldIsNotHeardAgain) {
  const auto source = offer(MonitorPlace::taps, 1)[0];
  render(64);
  EXPECT_EQ(reader(*source).misses(), 0) << "the wait for the first sound is no gap";
  write(*source, Samples(128, 0.5f));
  EXPECT_EQ(render(64), Samples(128, 0.5f));
  write(*source, Samples(100, 0.5f));
  EXPECT_EQ(render(64), Samples(128, 0.0f)) << "too little is not played in part";
  EXPECT_EQ(reader(*source).misses(), 1);
  source->setEnabled(false);
  EXPECT_EQ(render(64), Samples(128, 0.0f));
  source->setEnabled(true);
  write(*source, Samples(64, 0.25f));
  EXPECT_EQ(render(32), Samples(64, 0.0f));
  write(*source, Samples(64, 0.75f));
  EXPECT_EQ(render(32), Samples(64, 0.75f));
  context.retired = true;
  write(*source, Samples(64, 0.75f));
  EXPECT_EQ(render(32), Samples(64, 0.0f)) << "the unit waits for disposal";
}

// The whole: apps, buses, the monitor, and an ear on the devices.
struct MonitorTest : testing::Test {
  void begin(SimulatedOptions options = {}) {
    monitor.reset();
    world = std::make_unique<RoutingWorld>(1, options);
    world->host().setNominalRate(SimulatedHost::kSpeakersUID, 48000);
    music = world->launch("music");
    world->startEngine();
    monitor = std::make_unique<MonitorOutput>(world->context);
    monitor->launch();
    world->engine->setBus("music", 3);
    ASSERT_TRUE(world->engine->setRouted("music", true));
  }
  RoutingMonitors& switches() { return world->engine->monitors(); }
  AudioDeviceID idOf(const char* uid) {
    return CoreAudioUtils::deviceForUID(world->platform.hardware(), uid).value_or(kAudioObjectUnknown);
  }
  // Of what a device plays in the next second.
  float peakOn(const char* uid) {
    const auto ear = world->host().hear(uid);
    world->wait(0.3);
    ear->takePeak();
    world->wait(0.7);
    return ear->takePeak();
  }
  int logged(const std::string& text) const { return int(std::ranges::count(world->lines, text)); }
  // While one app is monitored.
  void beginHearing(SimulatedOptions options = {}) {
    begin(options);
    EXPECT_TRUE(switches().setMonitored("music", true));
    music.play(SampleSources::tone(440, 0.5f));
    world->wait(0.1);
  }

  std::unique_ptr<RoutingWorld> world;
  std::unique_ptr<MonitorOutput> monitor;
  SimulatedApp music;
};

TEST_F(MonitorTest, AnAppIsHeardOnceAtItsMonitorLevelAndSilentByItself) {
  begin();
  EXPECT_FALSE(*monitor->monitorRunning);
  EXPECT_EQ(monitor->health().verdict, RouteHealthVerdict::inactive);
  music.play(SampleSources::tone(440, 0.5f));
  world->engine->setMonitorLinked("music", false);
  world->engine->setMonitorVolume("music", 0.25f);
  EXPECT_TRUE(switches().setMonitored("music", true));
  EXPECT_TRUE(*monitor->monitorRunning);
  EXPECT_EQ(logged("AU lifecycle reconcile fired, count=1, monitorAU=nil"), 1);
  EXPECT_EQ(
      logged("Sonmere: Monitor AU started on device " + std::to_string(idOf(SimulatedHost::kSpeakersUID))),
      1);
  EXPECT_TRUE(music.isSilenced());
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.125f, 0.001f);
  world->engine->setVolume("music", 0.5f);
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.125f, 0.001f) << "its volume is another";
  EXPECT_TRUE(switches().setMonitored("music", false));
  EXPECT_FALSE(*monitor->monitorRunning);
  EXPECT_EQ(logged("Sonmere: Monitor AU stopped"), 1);
  EXPECT_FALSE(music.isSilenced());
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.5f, 0.001f) << "by itself again";
}

TEST_F(MonitorTest, ABusIsHeardAtItsGainAndItsAppsOnlyThere) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  EXPECT_TRUE(switches().setMasterMonitored(3, true));
  EXPECT_TRUE(music.isSilenced());
  switches().setMasterGain(3, 0.5f);
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.25f, 0.001f);
  EXPECT_NEAR(peakOn("ToneFerry_UID_Track_2"), 0.5f, 0.001f) << "the bus itself";
}

TEST_F(MonitorTest, AWishOutlivesItsRouteAndTheMonitorAsAWhole) {
  beginHearing();
  world->engine->setRouted("music", false);
  EXPECT_FALSE(*monitor->monitorRunning);
  world->engine->setRouted("music", true);
  EXPECT_TRUE(*monitor->monitorRunning);
  world->context.monitors.setOn(false);
  EXPECT_FALSE(*monitor->monitorRunning);
  EXPECT_FALSE(music.isSilenced()) << "nobody would hear it";
  world->context.monitors.setOn(true);
  EXPECT_TRUE(*monitor->monitorRunning);
  EXPECT_TRUE(music.isSilenced());
}

TEST_F(MonitorTest, TheUnitConvertsToADeviceOfAnotherRate) {
  begin();
  world->host().setNominalRate(SimulatedHost::kSpeakersUID, 44100);
  EXPECT_TRUE(switches().setMonitored("music", true));
  music.play(SampleSources::tone(1000, 0.5f));
  EXPECT_EQ(monitor->sampleRate(), 48000);
  world->wait(1);
  const auto ear = world->host().hear(SimulatedHost::kSpeakersUID);
  world->wait(1);
  const Samples heard = ear->samples();
  int rises = 0;
  for (std::size_t i = 2; i < heard.size(); i += 2) rises += heard[i - 2] < 0 && heard[i] >= 0;
  EXPECT_NEAR(rises * 44100.0 / (double(heard.size()) / 2), 1000, 5);
}

TEST_F(MonitorTest, ABurstOfChangesIsOneRebuildAfterTheLast) {
  beginHearing();
  const auto started = [&] {
    return std::ranges::count_if(world->lines, [](const std::string& line) {
      return line.starts_with("Sonmere: Monitor AU started");
    });
  };
  ASSERT_EQ(started(), 1);
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->wait(0.2);
  EXPECT_EQ(logged("Sonmere: Monitor rebuild scheduled (system default output changed (follow mode))"), 1);
  world->host().setNominalRate(SimulatedHost::kSpeakersUID, 96000);
  world->wait(0.2);
  EXPECT_EQ(logged("Sonmere: Monitor rebuild scheduled (bound device changed rate/liveness/data source)"), 1);
  world->host().setNominalRate("ToneFerry_UID", 44100);
  world->wait(0.34);
  EXPECT_EQ(logged("Sonmere: Monitor rebuild scheduled (bridge sample rate changed)"), 1);
  EXPECT_EQ(started(), 1);
  EXPECT_EQ(monitor->device(), idOf(SimulatedHost::kSpeakersUID));
  world->wait(0.02);
  EXPECT_EQ(started(), 2);
  EXPECT_EQ(monitor->device(), idOf(SimulatedHost::kHeadsetUID));
  EXPECT_EQ(monitor->sampleRate(), 44100);
  world->wait(2);
  EXPECT_EQ(started(), 2);
}

TEST_F(MonitorTest, AChosenDeviceIsKeptThroughOtherDefaultsAndItsAbsence) {
  beginHearing();
  EXPECT_FALSE(monitor->select("nowhere"));
  EXPECT_FALSE(monitor->select("ToneFerry_UID")) << "would lead back into itself";
  ASSERT_TRUE(monitor->select(SimulatedHost::kHeadsetUID));
  EXPECT_EQ(monitor->device(), idOf(SimulatedHost::kHeadsetUID));
  EXPECT_NEAR(peakOn(SimulatedHost::kHeadsetUID), 0.5f, 0.001f);
  const auto before = world->lines.size();
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kSpeakersUID);
  world->wait(1);
  EXPECT_EQ(world->lines.size(), before) << "a default that is not followed changes nothing";

  world->host().unplug(SimulatedHost::kHeadsetUID);
  world->wait(1);
  EXPECT_FALSE(*monitor->monitorRunning) << "not on the loudspeakers instead";
  EXPECT_EQ(monitor->errorMessage->value_or(""),
            "The monitor's device " + *monitor->monitorOutputDeviceName + " is not there.");
  EXPECT_EQ(monitor->health().verdict, RouteHealthVerdict::broken);
  EXPECT_FALSE(*monitor->monitorOutputDeviceID);
  world->host().replug(SimulatedHost::kHeadsetUID);
  world->wait(1);
  EXPECT_EQ(monitor->device(), idOf(SimulatedHost::kHeadsetUID));
  EXPECT_FALSE(*monitor->errorMessage);
  EXPECT_NEAR(peakOn(SimulatedHost::kHeadsetUID), 0.5f, 0.001f);

  MonitorOutput next(world->context);
  EXPECT_EQ(next.chosenUID(), SimulatedHost::kHeadsetUID) << "also at the next start";
  next.followDefault();
  EXPECT_TRUE(MonitorOutput(world->context).isFollowing());
}

TEST_F(MonitorTest, ItComesBackAfterARestartOfTheServerAndAfterSleep) {
  beginHearing();
  world->host().restartService(fromSeconds(1));
  world->wait(5);
  EXPECT_TRUE(*monitor->monitorRunning);
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.5f, 0.001f);
  const auto context = world->lines.size();
  world->host().sleep();
  world->wait(10);
  EXPECT_TRUE(std::ranges::none_of(world->lines, [](const auto& line) {
    return line.starts_with("Sonmere: Monitor has not rendered");
  })) << "nobody expects it to";
  world->host().wake();
  world->wait(3);
  EXPECT_TRUE(std::ranges::any_of(world->lines.begin() + std::ptrdiff_t(context), world->lines.end(),
                                  [](const auto& line) { return line == "Sonmere: Monitor AU stopped"; }))
      << "a unit of before the sleep may be heard by nobody";
  EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.5f, 0.001f);
}

TEST_F(MonitorTest, EachFailureOfAStartIsToldAndLeavesNoUnit) {
  const std::vector<std::pair<Operation, std::string>> cases = {
      {Operation::newOutputUnit, "Failed to create monitor AudioUnit: -50"},
      {Operation::unitSetCurrentDevice, "Failed to set monitor output device: -50"},
      {Operation::unitSetStreamFormat, "Failed to set monitor stream format: -50"},
      {Operation::unitSetRenderCallback, "Failed to set monitor render callback: -50"},
      {Operation::unitInitialize, "Failed to initialize monitor AU: -50"},
      {Operation::unitStart, "Failed to start monitor AU: -50"},
  };
  for (const auto& [operation, message] : cases) {
    SCOPED_TRACE(message);
    begin();
    const auto units = world->host().counts().units;
    world->host().faults().failNth(operation, 1, -50);
    EXPECT_TRUE(switches().setMonitored("music", true));
    EXPECT_EQ(monitor->errorMessage->value_or(""), message);
    EXPECT_FALSE(*monitor->monitorRunning);
    EXPECT_EQ(world->host().counts().units, units);
    world->wait(5);
    EXPECT_FALSE(*monitor->monitorRunning) << "until the next reason to try";
    world->host().unplug(SimulatedHost::kHeadsetUID);
    world->wait(1);
    EXPECT_TRUE(*monitor->monitorRunning);
    EXPECT_FALSE(*monitor->errorMessage);
  }
  begin();
  world->host().setDefault(DefaultDevice::output, "ToneFerry_UID");
  switches().setMonitored("music", true);
  EXPECT_EQ(monitor->errorMessage->value_or(""), "No audio output device available for monitoring.");
}

TEST_F(MonitorTest, TheMicrophoneIsHeardBeforeItsVolume) {
  begin();
  SimulatedDeviceDescription usb;
  usb.uid = usb.name = "usb";
  usb.inputChannels = 2;
  usb.outputChannels = 0;
  usb.inputSignal = [] { return SampleSources::tone(300, 0.4f); };
  world->host().plug(usb);
  world->host().permissions().set(Permission::microphone, PermissionStatus::authorized);
  {
    MicPassthroughEngine mic(world->context);
    mic.launch();
    mic.setHearMic(true);
    EXPECT_FALSE(*monitor->monitorRunning) << "there is nothing to hear";
    mic.select("usb");
    mic.setEnabled(true);
    ASSERT_TRUE(mic.isRunning());
    EXPECT_TRUE(*monitor->monitorRunning);
    mic.setVolume(0.1f);
    mic.setMonitorVolume(0.5f);
    EXPECT_NEAR(peakOn(SimulatedHost::kSpeakersUID), 0.2f, 0.001f);
    EXPECT_EQ(mic.latencyRings().front().id, "monitor:mic (hear my mic)");
    mic.setEnabled(false);
    EXPECT_FALSE(*monitor->monitorRunning);
  }
  MicPassthroughEngine again(world->context);
  EXPECT_TRUE(*again.hearMic);
  EXPECT_EQ(*again.monitorVolume, 0.5f);
  EXPECT_EQ(world->settings.boolValue("sonmere.mixMode.hearMic.enabled"), true);
  EXPECT_EQ(world->settings.number("sonmere.mixMode.monitorVolume"), 0.5);
}

}  // namespace
}  // namespace sonmere
