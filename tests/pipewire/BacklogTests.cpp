// Apps fall behind for a moment when something changes around them, and not for good.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>

#include "PipeWireWorld.h"
#include "driver/TrackNamesStore.h"
#include "mixer/VolumeMixerEngine.h"

namespace sonmere {

namespace {

struct BacklogWorld : PipeWireWorld {
  BacklogWorld() : PipeWireWorld(256) {}
  ~BacklogWorld() { mixer.reset(); }

  // pw-play in a Track, pw-cat in the mixer.
  bool begin() {
    if (!start()) return false;
    mixer = std::make_unique<VolumeMixerEngine>(context, std::make_shared<TrackNamesStore>(settings));
    mixer->attach(engine);
    KnownSignal(120).write(session.file("tone.wav"));
    routed = session.launch({"pw-play", session.file("tone.wav")});
    mixed = session.launch({"pw-cat", "-p", session.file("tone.wav")});
    return route("pw-play", 2) && mixer->setEnabled(true) && until([&] { return hasBoth(); });
  }
  bool hasBoth() { return engine->tapOf("pw-play") && mixer->activeTaps().contains("pw-cat"); }
  // Samples that wait behind a read beyond a quantum, in the ring where these are more; if both are read.
  std::optional<std::int64_t> surplus() {
    if (!hasBoth()) return std::nullopt;
    const auto& routedTap = *engine->tapOf("pw-play");
    const StereoRing::Reader& one = routedTap.ring.reader();
    const StereoRing::Reader& other = mixer->activeTaps().at("pw-cat")->ring.reader();
    const std::int64_t reads = std::min(one.reads.load(), other.reads.load());
    if (std::exchange(lastReads, reads) == reads) return std::nullopt;
    return std::max(one.lastBacklog - quantumAt(engine->busSampleRate(routedTap.busIndex)),
                    other.lastBacklog - quantumAt(mixer->outputSampleRate()));
  }
  // Samples of a cycle, where the server may convert to a higher rate.
  std::int64_t quantumAt(double rate) const {
    return 2 * std::int64_t(std::ceil(double(quantum) * std::max(rate / graphRate, 1.0)));
  }
  // Both are prompt for some time: no farther behind than a quantum and the reserve.
  bool untilPrompt() {
    int looks = 0;
    return until([&] {
      const auto samples = surplus();
      if (samples) looks = *samples <= kTrimReserveSamples ? looks + 1 : 0;
      return looks >= 40;
    });
  }
  void setClock(const std::string& what, std::int64_t value) {
    session.run({"pw-metadata", "-n", "settings", "0", "clock.force-" + what, std::to_string(value)});
  }
  void setQuantum(std::int64_t frames) {
    setClock("quantum", frames);
    quantum = frames;
  }
  bool makeDefault(const std::string& uid) {
    return until([&] { return device(uid) != 0; }) &&
           hardware().setDefaultDevice(DefaultDevice::output, device(uid)) == noErr;
  }
  // The server lets go of the Track's two sides.
  bool removeTrack(const std::string& uid) {
    for (const auto& object : nlohmann::json::parse(session.run({"pw-dump"}), nullptr, false))
      if (object.value("/info/props/node.name"_json_pointer, "") == uid)
        session.run({"pw-cli", "destroy", std::to_string(object.value("id", 0))});
    return until([&] { return device(uid) == 0; });
  }

  std::int64_t quantum = 256;
  double graphRate = 48000;
  std::int64_t lastReads = 0;
  std::unique_ptr<VolumeMixerEngine> mixer;
  SessionProgram routed, mixed;
};

}  // namespace

TEST(Backlog, DrainsAfterEachChangeOfBusUnitRateDeviceQuantumAndServer) {
  BacklogWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  EXPECT_TRUE(world.untilPrompt());
  for (const std::int64_t frames : {2048, 128, 1024, 256, 4096, 512}) {
    world.setQuantum(frames);
    EXPECT_TRUE(world.untilPrompt()) << "quantum " << frames;
  }
  for (const int rate : {96000, 44100, 0}) {
    world.setClock("rate", rate);
    world.graphRate = rate > 0 ? rate : 48000;
    EXPECT_TRUE(world.untilPrompt()) << "rate " << rate;
  }
  for (int move = 0; move < 8; ++move) {
    world.engine->setBus("pw-play", move % 2 == 0 ? 4 : 2);
    ASSERT_TRUE(world.until([&] { return world.surplus().has_value(); }));
  }
  EXPECT_TRUE(world.untilPrompt()) << "moves";
  for (const bool isMuted : {true, false}) {
    world.engine->setMuted("pw-play", isMuted);
    world.mixer->setMuted("pw-cat", isMuted);
    const std::int64_t calls = world.engine->tapOf("pw-play")->callbackCount;
    ASSERT_TRUE(world.until([&] { return world.engine->tapOf("pw-play")->callbackCount > calls + 40; }));
  }
  EXPECT_TRUE(world.untilPrompt()) << "a mute and its end";

  const auto plug = [&](const std::string& uid) {
    const std::string side = " node.name=" + uid + " audio.position=[FL,FR]";
    return world.session.launch({"pw-loopback", "--capture-props", "media.class=Audio/Sink" + side,
                                 "--playback-props", "media.class=Audio/Source" + side});
  };
  for (const char* speaker : {"fake.speaker2", "fake.speaker"}) {
    ASSERT_TRUE(world.makeDefault(speaker));
    EXPECT_TRUE(world.untilPrompt()) << speaker;
  }
  {
    auto headset = plug("headset");
    ASSERT_TRUE(world.makeDefault("headset"));
    EXPECT_TRUE(world.untilPrompt()) << "a headset";
  }
  EXPECT_TRUE(world.untilPrompt()) << "the headset goes";
  ASSERT_TRUE(world.removeTrack("ToneFerry_UID_Track_1"));
  auto track = plug("ToneFerry_UID_Track_1");
  ASSERT_TRUE(world.until([&] { return world.device("ToneFerry_UID_Track_1") != 0; }));
  EXPECT_TRUE(world.untilPrompt()) << "the bus's device goes and comes back";

  ASSERT_TRUE(world.session.control("freeze"));
  ASSERT_TRUE(world.untilLogged("has stopped answering"));
  ASSERT_TRUE(world.session.control("thaw"));
  EXPECT_TRUE(world.untilPrompt()) << "a freeze";
  track.end();
  ASSERT_TRUE(world.session.control("kill", "pipewire"));
  ASSERT_TRUE(world.untilLogged("the audio server has gone"));
  ASSERT_TRUE(world.session.control("restart"));
  world.routed = world.session.launch({"pw-play", world.session.file("tone.wav")});
  world.mixed = world.session.launch({"pw-cat", "-p", world.session.file("tone.wav")});
  EXPECT_TRUE(world.untilPrompt()) << "a restart";
}

}  // namespace sonmere
