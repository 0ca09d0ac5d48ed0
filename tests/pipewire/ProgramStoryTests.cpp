// The program itself on a private session: what it leaves behind, however it ends.

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "ProgramWorld.h"
#include "SpeakerEar.h"
#include "TestPlayers.h"
#include "platform/pipewire/TapGuard.h"

namespace sonmere {

namespace {

std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> children;
  std::error_code error;
  for (const auto& thread :
       std::filesystem::directory_iterator("/proc/" + std::to_string(parent) + "/task", error)) {
    std::ifstream list(thread.path() / "children");
    children.insert(children.end(), std::istream_iterator<pid_t>(list), std::istream_iterator<pid_t>());
  }
  return children;
}

// Numbers of the sockets that a process has open.
std::set<std::string> socketsOf(pid_t process) {
  std::set<std::string> sockets;
  std::error_code error;
  for (std::filesystem::directory_iterator it("/proc/" + std::to_string(process) + "/fd", error), end;
       !error && it != end; it.increment(error)) {
    const std::string file = std::filesystem::read_symlink(it->path(), error).string();
    if (file.starts_with("socket:")) sockets.insert(file);
  }
  return sockets;
}

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

// Killed while the program stands, and killed with its twin while it runs: the apps are let go all the same.
TEST_F(ProgramStory, AGuardThatIsKilledIsReplaced) {
  world.startMixer();
  // The one that there is; 0 while there is none or another comes. Looked at once: it may go between two
  // looks.
  const auto guard = [&] {
    const auto children = childrenOf(world.program.pid());
    return children.size() == 1 ? children[0] : 0;
  };
  pid_t first = 0;
  ASSERT_TRUE(world.until([&] { return (first = guard()) != 0; }));
  ASSERT_TRUE(world.until([&] { return childrenOf(first).size() == 1; }));
  world.program.signal(SIGSTOP);
  kill(first, SIGKILL);
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
  world.program.signal(SIGCONT);
  ASSERT_TRUE(world.until([&] { return world.isCaptured(); }));

  kill(-first, SIGKILL);
  ASSERT_TRUE(world.until([&] {
    const pid_t now = guard();
    return now != 0 && now != first;
  }));
  world.program.signal(SIGSTOP);
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
}

// What a killed program has left is there until the server has been told; a frozen one is asked again.
TEST_F(ProgramStory, AFrozenServerIsToldWhenItAnswers) {
  world.startMixer();
  pid_t guard = 0;
  ASSERT_TRUE(world.until([&] {
    const auto children = childrenOf(world.program.pid());
    return children.size() == 1 && (guard = children[0]) != 0;
  }));
  std::set<std::string> connections;
  const auto visits = [&] {
    connections.merge(socketsOf(guard));
    return connections.size();
  };
  ASSERT_TRUE(world.until([&] { return visits() == 1; })) << "to the program alone";
  ASSERT_TRUE(world.session.control("freeze"));
  world.program.signal(SIGKILL);
  world.program.wait();
  EXPECT_TRUE(world.until([&] { return visits() >= 3; })) << "it does not ask again";
  ASSERT_TRUE(world.session.control("thaw"));
  EXPECT_TRUE(world.until([&] { return !world.hasLeftTargets(); })) << world.session.run({"pw-metadata"});
  EXPECT_TRUE(world.until([&] { return kill(guard, 0) != 0 || socketsOf(guard).empty(); })) << "it stays";
}

// One guard lets as many apps go as there are.
TEST_F(ProgramStory, AGuardTakesManyApps) {
  // Any objects of the server will do as what has been moved.
  constexpr std::uint32_t kMany = 300, kSerials = 9000;
  for (const std::uint32_t i : {0u, 129u, kMany - 1})
    world.session.run(
        {"pw-metadata", std::to_string(20 + i % 7), "target.object", std::to_string(kSerials + i), "Spa:Id"});
  ASSERT_TRUE(world.hasLeftTargets());
  PipeWireLoop loop;
  TapGuard guard(loop, {world.session.socket(), SONMERE_TAP_GUARD}, world.log);
  {
    const PipeWireLoop::Lock lock(loop);
    for (std::uint32_t i = 0; i < kMany; ++i) guard.add(kSerials + i);
  }
  EXPECT_TRUE(world.until([&] { return !world.hasLeftTargets(); })) << world.session.run({"pw-metadata"});
}

// Mixers and patchbays show streams by these.
TEST_F(ProgramStory, ItsStreamsBearItsName) {
  world.startMixer();
  const auto nodes = nlohmann::json::parse(world.session.run({"pw-dump"}), nullptr, false);
  int count = 0;
  std::string output;
  for (const auto& object : nodes) {
    const auto properties = object.value("/info/props"_json_pointer, nlohmann::json::object());
    if (!properties.contains("sonmere.part")) continue;
    ++count;
    // The same in each run.
    if (properties.value("node.name", "") == "sonmere.output.fake.speaker")
      output = properties.value("node.description", "");
    SCOPED_TRACE(properties.dump());
    EXPECT_EQ(properties.value("application.name", ""), "Sonmere");
    EXPECT_EQ(properties.value("application.id", ""), "com.sonmere.ToneFerry");
    EXPECT_EQ(properties.value("application.icon-name", ""), "com.sonmere.ToneFerry");
    EXPECT_TRUE(properties.value("media.name", "").starts_with("Sonmere"));
    EXPECT_TRUE(properties.value("node.description", "").starts_with("Sonmere"));
  }
  EXPECT_GE(count, 3) << "the output, the tap and the waiting room";
  EXPECT_EQ(output, "Sonmere: Fake Speaker");
}

TEST_F(ProgramStory, AProgramThatIsToldToEndPutsEverythingBack) {
  world.startMixer();
  world.program.signal(SIGTERM);
  EXPECT_EQ(world.program.wait(), 0);
  EXPECT_TRUE(world.until([&] { return world.isHome(); }));
  EXPECT_TRUE(world.until([&] { return !world.hasLeftTargets(); })) << world.session.run({"pw-metadata"});
}

// Sounds that follow each other sooner than the taps of their programs go, and sounds for which taps are
// made: all are as loud as the user wants them, but for a cycle at the start.
TEST_F(ProgramStory, ShortSoundsInQuickSuccessionAreNotLoud) {
  const KnownSignal sound(0.08, 5);
  sound.write(world.session.file("sound.wav"));
  SpeakerEar speaker(world);
  ASSERT_TRUE(speaker.isReady);
  world.session.run(world.command({"settings", "set", "sonmere.volumeMixer.masterVolume", "0.1"}));
  world.startMixer();
  world.player.end();
  const auto play = [&](const Player& player) {
    EXPECT_EQ(world.session.launch(playing(player, world.session.file("sound.wav"))).wait(), 0);
  };
  for (const Player& player : wholePlayers())
    for (int i = 0; i < 3; ++i) play(player);
  for (int i = 0; i < 3; ++i) std::ranges::for_each(wholePlayers(), play);
  const auto heard = speaker.heard();
  EXPECT_LE(findSignal(heard, sound.samples).length, 18u * 2 * 256);
  auto quiet = sound.samples;
  for (float& sample : quiet) sample *= 0.1f;
  EXPECT_GT(findSignal(heard, quiet).length, 0u);
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
