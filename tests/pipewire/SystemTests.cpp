// The whole system: real programs through the device of an output and the bridge, and through Mix Mode.

#include <gtest/gtest.h>

#include "PipeWireWorld.h"
#include "routing/monitor/MonitorOutput.h"
#include "system/DAWAggregateEngine.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {

namespace {

constexpr std::size_t kEnough = 48000;  // samples

struct SystemWorld : PipeWireWorld {
  SystemWorld() : PipeWireWorld(256) {}

  std::string defaultUID() {
    const auto device = hardware().defaultDevice(DefaultDevice::output);
    return device ? hardware().deviceUID(*device).value_or("") : "";
  }
  void play(const KnownSignal& signal) {
    signal.write(session.file("signal.wav"));
    player = session.launch({"pw-play", session.file("signal.wav")});
  }
  // By another program: what a device gives, or what it plays.
  bool isHeard(const std::string& device, bool isPlayed, const KnownSignal& signal) {
    const std::string file = session.file("heard" + std::to_string(++takes) + ".wav");
    std::vector<std::string> words{"pw-record", "--target", device, "--format", "f32", file};
    if (isPlayed) words.insert(words.begin() + 3, {"-P", "{ stream.capture.sink=true }"});
    auto ear = session.launch(words);
    Match match;
    return untilRecorded(file, signal, kEnough, match);
  }

  SessionProgram player;
  int takes = 0;
};

}  // namespace

TEST(SystemAudio, WhatAProgramPlaysReachesTheSpeakerAndTheBridgeAndTheDefaultComesBack) {
  SystemWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  SystemAudioEngine system(world.context, "1");
  world.settings.set(SystemAudioEngine::kSelectedOutputDeviceUIDKey, "fake.speaker");
  system.launch();
  ASSERT_TRUE(world.until([&] { return world.defaultUID() == "fake.speaker"; }));
  ASSERT_TRUE(system.setEnabled(true)) << system.errorMessage->value_or("");
  ASSERT_TRUE(world.until([&] { return world.defaultUID().starts_with("ToneFerry_MultiOut"); }));
  const KnownSignal signal(60);
  world.play(signal);
  EXPECT_TRUE(world.isHeard("fake.speaker", true, signal)) << world.told();
  EXPECT_TRUE(world.isHeard("ToneFerry_UID", false, signal)) << "what others record from the bridge";
  EXPECT_TRUE(*system.isEnabled);

  ASSERT_TRUE(system.setEnabled(false));
  ASSERT_TRUE(world.until([&] { return world.defaultUID() == "fake.speaker"; })) << world.defaultUID();
  EXPECT_TRUE(world.isHeard("fake.speaker", true, signal));
}

TEST(SystemAudio, MixModeCatchesWhatIsNotRoutedAndLetsItGo) {
  SystemWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  MonitorOutput monitor(world.context);
  monitor.launch();
  ASSERT_TRUE(monitor.select("fake.speaker2"));
  const KnownSignal signal(60);
  world.play(signal);
  RoutingMixMode& mix = world.engine->mixMode();
  mix.apply({.isEnabled = true, .includesSystemAudio = true});
  EXPECT_TRUE(world.isHeard("fake.speaker2", true, signal)) << world.told();
  ASSERT_TRUE(world.until([&] { return world.outputsOf("pw-play").empty(); })) << "nowhere else";
  mix.apply({});
  ASSERT_TRUE(world.until([&] {
    return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"};
  })) << world.told();
  EXPECT_TRUE(world.isHeard("fake.speaker", true, signal));
}

TEST(SystemAudio, TheTracksAreOneDeviceThatProgramsSee) {
  SystemWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  DAWAggregateEngine daw(world.context);
  daw.launch();
  daw.setEnabled(true);
  ASSERT_TRUE(*daw.aggregateDeviceID) << daw.errorMessage->value_or("");
  for (const char* port :
       {"Sonmere_DAWMultiTrack_v1:playback_AUX15", "Sonmere_DAWMultiTrack_v1:capture_AUX15"})
    EXPECT_TRUE(world.until([&] { return world.session.run({"pw-link", "-io"}).contains(port); })) << port;
  daw.setEnabled(false);
  EXPECT_TRUE(world.until([&] {
    return !world.session.run({"pw-link", "-io"}).contains("Sonmere_DAWMultiTrack_v1");
  }));
}

}  // namespace sonmere
