// The program itself on a private session: what it leaves behind, however it ends.

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

#include "PipeWireWorld.h"

namespace sonmere {

namespace {

// The test looks on; the program under test is a process of its own.
struct ProgramWorld : PipeWireWorld {
  ProgramWorld() : PipeWireWorld(256) {}

  std::vector<std::string> command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> whole = {"env", "SONMERE_SETTINGS=" + session.file("settings.json"),
                                      "XDG_STATE_HOME=" + session.file("state"),
                                      "SONMERE_RESOURCES=" SONMERE_SOURCE_DIR "/resources", SONMERE_PROGRAM};
    whole.insert(whole.end(), arguments.begin(), arguments.end());
    return whole;
  }
  // Per-app volume is on, and has taken pw-play into its hands: the app itself is silent on every device.
  void startMixer() {
    KnownSignal(120).write(session.file("signal.wav"));
    player = session.launch({"pw-play", session.file("signal.wav")});
    ASSERT_TRUE(until([&] { return isHome(); }));
    session.run(command({"settings", "set", "sonmere.volumeMixer.isEnabled", "true"}));
    program = session.launch(command({"run", "--platform", "pipewire", "--no-control", "--for", "200"}));
    ASSERT_TRUE(until([&] { return isCaptured(); }));
  }
  bool isCaptured() { return outputsOf("pw-play").empty(); }
  bool isHome() { return outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"}; }
  bool hasLeftTargets() { return session.run({"pw-metadata"}).contains("target.object"); }

  SessionProgram player, program;
};

struct ProgramStory : testing::Test {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  }
  ProgramWorld world;
};

}  // namespace

TEST_F(ProgramStory, AKilledProgramLeavesItsAppsToTheirOwnOutput) {
  world.startMixer();
  world.program.signal(SIGKILL);
  world.program.wait();
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
  EXPECT_TRUE(world.until([&] { return !world.hasLeftTargets(); })) << world.session.run({"pw-metadata"});
}

// Stopped is as good as hung; the guard lets the apps go, and the program takes them back when it goes on.
TEST_F(ProgramStory, AHungProgramLetsItsAppsGo) {
  world.startMixer();
  world.program.signal(SIGSTOP);
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
  world.program.signal(SIGCONT);
  EXPECT_TRUE(world.until([&] { return world.isCaptured(); }));
}

TEST_F(ProgramStory, AProgramThatIsToldToEndPutsEverythingBack) {
  world.startMixer();
  world.program.signal(SIGTERM);
  EXPECT_EQ(world.program.wait(), 128 + SIGTERM);
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
  EXPECT_TRUE(world.until([&] { return !world.hasLeftTargets(); })) << world.session.run({"pw-metadata"});
}

// The recording of a routed program is the file that it plays.
TEST_F(ProgramStory, ARunRecordsWhatARoutedProgramPlays) {
  const KnownSignal signal(60);
  signal.write(world.session.file("signal.wav"));
  world.session.run(world.command({"settings", "set", "recording.bitDepth", "float32"}));
  auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
  const std::string output = world.session.run(
      world.command({"run", "--platform", "pipewire", "--no-control", "--route", "pw-play=2", "--record", "2",
                     "--for", "3", "--out", world.session.file("out"), "--json"}));
  const auto report = nlohmann::json::parse(output.substr(output.find('{')), nullptr, false);
  ASSERT_TRUE(report.is_object() && report.contains("recordings") && report["recordings"].size() == 1)
      << output;
  const std::string path = report["recordings"][0]["path"];
  const Match match = findSignal(readSamples(path), signal.samples);
  EXPECT_GT(match.length, 2u * 96000) << match.gaps << " gaps, " << match.missing << " missing\n" << output;
}

}  // namespace sonmere
