// Apps fall behind for a moment when something changes around them, and not for good.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

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
  // Samples that wait in the fuller of the two rings behind a read, if both are read.
  std::optional<std::int64_t> backlog() {
    if (!hasBoth()) return std::nullopt;
    const auto tap = engine->tapOf("pw-play");
    const auto other = mixer->activeTaps().at("pw-cat");
    const std::int64_t reads = std::min(tap->ring.reader().reads.load(), other->ring.reader().reads.load());
    if (std::exchange(lastReads, reads) == reads) return std::nullopt;
    return std::max(tap->ring.reader().lastBacklog.load(), other->ring.reader().lastBacklog.load());
  }
  // Both are prompt for some time: no farther behind than a quantum and the reserve.
  bool untilPrompt() {
    int looks = 0;
    return until([&] {
      const auto samples = backlog();
      if (samples) looks = *samples <= 2 * quantum + kTrimReserveSamples ? looks + 1 : 0;
      return looks >= 40;
    });
  }
  void setQuantum(std::int64_t frames) {
    session.run({"pw-metadata", "-n", "settings", "0", "clock.force-quantum", std::to_string(frames)});
    quantum = frames;
  }

  std::int64_t quantum = 256;
  std::int64_t lastReads = 0;
  std::unique_ptr<VolumeMixerEngine> mixer;
  SessionProgram routed, mixed;
};

}  // namespace

TEST(Backlog, DrainsAfterEveryChangeOfQuantumBusDefaultAndServer) {
  BacklogWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  EXPECT_TRUE(world.untilPrompt());
  for (const std::int64_t frames : {2048, 128, 1024, 256, 4096, 512}) {
    world.setQuantum(frames);
    EXPECT_TRUE(world.untilPrompt()) << "quantum " << frames;
  }
  for (int move = 0; move < 8; ++move) {
    world.engine->setBus("pw-play", move % 2 == 0 ? 4 : 2);
    ASSERT_TRUE(world.until([&] { return world.backlog().has_value(); }));
  }
  EXPECT_TRUE(world.untilPrompt()) << "moves";
  for (const char* speaker : {"fake.speaker2", "fake.speaker"}) {
    world.hardware().setDefaultDevice(DefaultDevice::output, world.device(speaker));
    EXPECT_TRUE(world.untilPrompt()) << speaker;
  }
  ASSERT_TRUE(world.session.control("kill", "pipewire"));
  ASSERT_TRUE(world.untilLogged("the audio server has gone"));
  ASSERT_TRUE(world.session.control("restart"));
  world.routed = world.session.launch({"pw-play", world.session.file("tone.wav")});
  world.mixed = world.session.launch({"pw-cat", "-p", world.session.file("tone.wav")});
  EXPECT_TRUE(world.untilPrompt()) << "a restart";
}

}  // namespace sonmere
