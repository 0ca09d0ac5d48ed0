// Real programs play a known signal, are routed into a Track, and other programs record what the Track gives.

#include <gtest/gtest.h>

#include <csignal>

#include "KnownSignal.h"
#include "PipeWireWorld.h"
#include "support/RoutingInsides.h"

namespace sonmere {

namespace {

constexpr int kTrack1 = 2;
const std::string kTrack1UID = "ToneFerry_UID_Track_1";
constexpr std::size_t kSecond = 96000;  // samples
// How much of a signal has to arrive. A sanitizer makes cycles longer, so that a busy machine misses many.
#ifdef SONMERE_SANITIZED
constexpr std::size_t kEnough = kSecond / 8;
#else
constexpr std::size_t kEnough = kSecond;
#endif

// A program that plays the file, and the family that it makes.
struct Player {
  std::string name, app;
  std::vector<std::string> command;  // FILE stands for the file
};
const std::vector<Player>& players() {
  static const std::vector<Player> all = {
      {"pwplay", "pw-play", {"pw-play", "FILE"}},
      {"paplay", "paplay", {"paplay", "FILE"}},
      {"ffmpeg",
       "ffmpeg",
       {"ffmpeg", "-nostdin", "-loglevel", "error", "-re", "-i", "FILE", "-c:a", "pcm_f32le", "-f", "pulse",
        "x"}},
      {"mpv", "mpv", {"mpv", "--no-config", "--no-video", "--really-quiet", "--ao=pipewire", "FILE"}},
  };
  return all;
}

SessionProgram play(const PrivateSession& session, const Player& player, const std::string& file) {
  std::vector<std::string> command = player.command;
  std::ranges::replace(command, std::string("FILE"), file);
  return session.launch(command);
}

}  // namespace

struct RoutedApp : testing::TestWithParam<int> {};

// Each player reaches the Track's input side as it is, whichever kind of program records it.
TEST_P(RoutedApp, ArrivesInTheTrackUnchanged) {
  PipeWireWorld world(GetParam());
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const KnownSignal signal(30);
  const std::string file = world.session.file("signal.wav");
  signal.write(file);
  auto native = world.session.launch(
      {"pw-record", "--target", kTrack1UID, "--format", "f32", world.session.file("native.wav")});
  auto pulse = world.session.launch({"parecord", "-d", kTrack1UID, "--format=float32le", "--rate=48000",
                                     "--channels=2", world.session.file("pulse.wav")});
  for (const Player& player : players()) {
    SCOPED_TRACE(player.name);
    auto program = play(world.session, player, file);
    ASSERT_TRUE(world.route(player.app, kTrack1)) << world.engine->errorMessage()->value_or("no row");
    for (const std::string recorder : {"native", "pulse"}) {
      Match match;
      EXPECT_TRUE(world.untilRecorded(world.session.file(recorder + ".wav"), signal, kEnough, match))
          << recorder << ": " << match.length << " samples arrived";
    }
    program.end();
    ASSERT_TRUE(world.until([&] { return RoutingInsides(*world.engine).activeTaps.empty(); }));
    native.end();
    pulse.end();
    native = world.session.launch(
        {"pw-record", "--target", kTrack1UID, "--format", "f32", world.session.file("native.wav")});
    pulse = world.session.launch({"parecord", "-d", kTrack1UID, "--format=float32le", "--rate=48000",
                                  "--channels=2", world.session.file("pulse.wav")});
  }
}

INSTANTIATE_TEST_SUITE_P(Quanta, RoutedApp, testing::Values(128, 256, 1024));

// A muted app is heard in the Track alone, all its streams and those that its other processes open later; it
// plays on its own output again once it is let go.
TEST(MutedApp, IsHeardNowhereElse) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const KnownSignal first(30, 1), second(30, 2);
  first.write(world.session.file("first.wav"));
  second.write(world.session.file("second.wav"));
  auto speaker =
      world.session.launch({"pw-record", "--target", "fake.speaker", "-P", "{ stream.capture.sink=true }",
                            "--format", "f32", world.session.file("speaker.wav")});
  auto program = world.session.launch({"pw-play", world.session.file("first.wav")});
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  Match match;
  ASSERT_TRUE(world.untilRecorded(world.session.file("speaker.wav"), first, kSecond / 4, match));

  ASSERT_TRUE(world.engine->monitors().setMonitored("pw-play", true));
  const auto isSilent = [&] { return world.outputsOf("pw-play").empty(); };
  ASSERT_TRUE(world.until(isSilent));
  auto other = world.session.launch({"pw-play", world.session.file("second.wav")});
  ASSERT_TRUE(world.until([&] { return world.engine->row("pw-play")->audioObjectIDs.size() == 2; }));
  auto track = world.session.launch(
      {"pw-record", "--target", kTrack1UID, "--format", "f32", world.session.file("track.wav")});
  // Both are mixed there: the sum is neither's signal, and one alone is once the other has ended.
  program.end();
  ASSERT_TRUE(world.untilRecorded(world.session.file("track.wav"), second, kSecond / 4, match));
  EXPECT_TRUE(isSilent());

  ASSERT_TRUE(world.engine->setRouted("pw-play", false));
  ASSERT_TRUE(
      world.until([&] { return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"}; }));
  speaker.signal(SIGTERM);
  speaker.wait();
  const auto heard = readSamples(world.session.file("speaker.wav"));
  const Match before = findSignal(heard, second.samples);
  // What the speaker gave of the second program it played after it was let go: not its beginning.
  EXPECT_GT(before.length == 0 ? kSecond : before.from, kSecond / 4)
      << before.length << " samples, " << before.gaps << " gaps, " << before.missing << " missing";
}

}  // namespace sonmere
