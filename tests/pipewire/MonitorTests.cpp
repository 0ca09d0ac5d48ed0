// What is routed is heard on a real device: other programs record what the speakers give.

#include <gtest/gtest.h>

#include <csignal>

#include "PipeWireWorld.h"
#include "routing/monitor/MonitorOutput.h"

namespace sonmere {

namespace {

constexpr int kTrack1 = 2;
constexpr std::size_t kSecond = 96000;  // samples
#ifdef SONMERE_SANITIZED
constexpr std::size_t kEnough = kSecond / 8;
#else
constexpr std::size_t kEnough = kSecond / 2;
#endif

struct MonitoredWorld : PipeWireWorld {
  MonitoredWorld() : PipeWireWorld(256) {}
  ~MonitoredWorld() { monitor.reset(); }

  bool begin() {
    if (!start()) return false;
    monitor = std::make_unique<MonitorOutput>(context);
    monitor->launch();
    return true;
  }
  // A program that plays the signal into a Track.
  bool play(const KnownSignal& signal) {
    signal.write(session.file("signal.wav"));
    player = session.launch({"pw-play", session.file("signal.wav")});
    return route("pw-play", kTrack1);
  }
  bool isHeardOn(const std::string& speaker, const KnownSignal& signal) {
    const std::string file = session.file("heard" + std::to_string(++takes) + ".wav");
    auto ear = session.launch(
        {"pw-record", "--target", speaker, "-P", "{ stream.capture.sink=true }", "--format", "f32", file});
    Match match;
    return untilRecorded(file, signal, kEnough, match);
  }

  std::unique_ptr<MonitorOutput> monitor;
  SessionProgram player;
  int takes = 0;
};

}  // namespace

TEST(Monitor, ARoutedAppIsHeardOnceAndUnchanged) {
  MonitoredWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  const KnownSignal signal(60);
  ASSERT_TRUE(world.play(signal));
  ASSERT_TRUE(world.engine->monitors().setMasterMonitored(kTrack1, true));
  EXPECT_TRUE(*world.monitor->monitorRunning) << world.monitor->errorMessage->value_or("");
  ASSERT_TRUE(world.until([&] { return world.outputsOf("pw-play").empty(); })) << "not by itself as well";
  EXPECT_TRUE(world.isHeardOn("fake.speaker", signal)) << "every sample as it was: it is there once";

  ASSERT_TRUE(world.monitor->select("fake.speaker2"));
  EXPECT_TRUE(world.isHeardOn("fake.speaker2", signal));
  ASSERT_TRUE(world.engine->monitors().setMasterMonitored(kTrack1, false));
  ASSERT_TRUE(world.until([&] {
    return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"};
  })) << "by itself again";
  EXPECT_FALSE(*world.monitor->monitorRunning);
}

TEST(DeviceOutput, AnAppIsHeardUnchangedOnItsDeviceAloneAndAfterARestartOfTheServer) {
  MonitoredWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  const KnownSignal signal(60);
  ASSERT_TRUE(world.play(signal));
  ASSERT_TRUE(world.engine->setOutput("pw-play", {"fake.speaker2"}))
      << world.engine->errorMessage()->value_or("");
  ASSERT_TRUE(world.until([&] { return world.outputsOf("pw-play").empty(); })) << "not by itself as well";
  EXPECT_TRUE(world.isHeardOn("fake.speaker2", signal));
  ASSERT_TRUE(world.session.control("kill"));
  world.player.end();
  ASSERT_TRUE(world.session.control("restart"));
  const KnownSignal again(60, 7);
  ASSERT_TRUE(world.play(again));
  EXPECT_TRUE(world.isHeardOn("fake.speaker2", again)) << world.told();
  ASSERT_TRUE(world.engine->setOutput("pw-play", {}));
  ASSERT_TRUE(world.until([&] { return world.engine->isBusRunning(kTrack1); })) << world.told();
  ASSERT_TRUE(world.until([&] {
    return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"};
  })) << "by itself again";
}

TEST(Monitor, ItComesBackWithTheServer) {
  MonitoredWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  const KnownSignal signal(60);
  ASSERT_TRUE(world.engine->monitors().setMonitored("pw-play", true)) << "before it plays";
  ASSERT_TRUE(world.play(signal));
  EXPECT_TRUE(world.isHeardOn("fake.speaker", signal));
  ASSERT_TRUE(world.session.control("kill"));
  world.player.end();
  ASSERT_TRUE(world.session.control("restart"));
  const KnownSignal again(60, 7);
  ASSERT_TRUE(world.play(again));
  ASSERT_TRUE(world.until([&] { return *world.monitor->monitorRunning; }))
      << world.monitor->errorMessage->value_or("");
  EXPECT_TRUE(world.isHeardOn("fake.speaker", again));
}

}  // namespace sonmere
