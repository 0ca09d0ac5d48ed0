// What a route leaves out or plays twice, beside what a plain link does in the same run.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <fstream>

#include "PipeWireWorld.h"
#include "platform/pipewire/StreamClock.h"
#include "support/RoutingInsides.h"

namespace sonmere {

namespace {

constexpr std::size_t kSecond = 48000;  // frames
constexpr float kStep = 1.0f / (1 << 23);

// Each frame bears its number, so that holes and repeats are seen.
KnownSignal counting(double seconds) {
  KnownSignal signal(seconds);
  for (std::size_t i = 0; i < signal.samples.size(); ++i) signal.samples[i] = float(i / 2 + 1) * kStep;
  return signal;
}

struct Count {
  std::size_t frames = 0, gaps = 0, silent = 0, missing = 0, repeated = 0;
  Count& operator+=(const Count& more) {
    frames += more.frames;
    gaps += more.gaps;
    silent += more.silent;
    missing += more.missing;
    repeated += more.repeated;
    return *this;
  }
};
std::ostream& operator<<(std::ostream& out, const Count& count) {
  return out << count.gaps << " gaps in " << count.frames << " frames: " << count.silent << " silent, "
             << count.missing << " missing, " << count.repeated << " repeated";
}

// From the first frame that arrived to the last.
Count countGaps(const std::vector<float>& samples) {
  Count count;
  std::int64_t last = 0, silent = 0;
  for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
    const std::int64_t number = std::llround(samples[i] / kStep);
    if (number == 0) {
      ++silent;
      continue;
    }
    if (last != 0 && (silent > 0 || number != last + 1)) {
      ++count.gaps;
      count.silent += std::size_t(silent);
      (number > last ? count.missing : count.repeated) += std::size_t(std::abs(number - last - 1));
    }
    ++count.frames;
    last = number;
    silent = 0;
  }
  return count;
}

// A program that counts into a device, and another that records what the device gives.
struct Path {
  Path(PipeWireWorld& itsWorld, const std::string& itsName) : world(itsWorld), name(itsName) {}
  std::string recording() const { return world.session.file(name + ".wav"); }
  void play(std::vector<std::string> command) {
    command.push_back(world.session.file("counting.wav"));
    player = world.session.launch(command);
  }
  void record(const std::string& device) {
    recorder = world.session.launch({"pw-record", "--target", device, "--format", "f32", recording()});
  }
  bool hasRecorded(std::size_t frames) const {
    std::error_code error;
    return std::filesystem::file_size(recording(), error) > frames * 8 && !error;
  }
  Count end() {
    recorder.end();
    player.end();
    const Count count = countGaps(readSamples(recording()));
    std::filesystem::remove(recording());
    return count;
  }

  PipeWireWorld& world;
  const std::string name;
  SessionProgram player, recorder;
};

// As hearing the app through a monitor does.
bool hold(PipeWireWorld& world) {
  return world.engine->monitors().setMonitored("pw-play", true) &&
         world.until([&] { return world.outputsOf("pw-play").empty(); });
}

// The highest number that a Track has given so far. Audio thread writes.
struct Ear {
  std::atomic<std::int64_t> number{0};
  std::atomic<int> cycles{0};
  static OSStatus take(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    auto& ear = *static_cast<Ear*>(refcon);
    ear.cycles = ear.cycles + 1;
    if (!input.empty() && input[0].byteSize >= 8)
      ear.number = std::max<std::int64_t>(ear.number, std::llround(input[0].data[0] / kStep));
    return noErr;
  }
};

}  // namespace

// Quantum, and whether the program is held in a hidden device (as one that is muted) or heard beside its own.
struct Gaps : testing::TestWithParam<std::pair<int, TapMute>> {};

// A busy machine misses cycles, wherever sound goes; a route may have as many as its two links together.
TEST_P(Gaps, OfARouteAreThoseOfAPlainLink) {
  PipeWireWorld world(GetParam().first);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  counting(30).write(world.session.file("counting.wav"));
  Path plain(world, "plain"), routed(world, "routed");
  Count beside, through;
  bool isWhole = false;
  for (int attempt = 0; attempt < 5 && !isWhole; ++attempt) {
    plain.play({"pw-cat", "-p", "--target", "ToneFerry_UID_Track_5"});
    plain.record("ToneFerry_UID_Track_5");
    routed.play({"pw-play"});
    ASSERT_TRUE(world.route("pw-play", 2));
    ASSERT_TRUE(GetParam().second == TapMute::unmuted || hold(world));
    routed.record("ToneFerry_UID_Track_1");
    ASSERT_TRUE(
        world.until([&] { return routed.hasRecorded(3 * kSecond) && plain.hasRecorded(3 * kSecond); }));
    const Count linked = plain.end(), now = routed.end();
    EXPECT_GT(linked.frames, 2 * kSecond);
    EXPECT_GT(now.frames, 2 * kSecond);
    beside += linked;
    through += now;
    isWhole = now.gaps == 0;
    ASSERT_TRUE(world.until([&] { return RoutingInsides(*world.engine).activeTaps.empty(); }));
  }
  EXPECT_TRUE(isWhole || through.gaps <= 2 * beside.gaps)
      << "a plain link: " << beside << "; the route: " << through;
}

INSTANTIATE_TEST_SUITE_P(Quanta, Gaps,
                         testing::Values(std::pair(128, TapMute::muted), std::pair(256, TapMute::unmuted),
                                         std::pair(1024, TapMute::muted)));

// A stream that is late is left out of cycles; that is the server's doing, and is told: in the log, for the
// app and for what is recorded.
TEST(MissedCyclesStory, AreToldAsTheServers) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  counting(30).write(world.session.file("counting.wav"));
  auto player = world.session.launch({"pw-play", world.session.file("counting.wav")});
  ASSERT_TRUE(world.route("pw-play", 2));
  world.recordings->startRecording(2);
  const auto recorded = [&] { return world.recordings->busRecordingStatuses->at(2); };
  ASSERT_TRUE(world.until([&] { return recorded().everHadSignal; }));
  const AudioDeviceID track = world.device("ToneFerry_UID_Track_1");
  const auto late = [](void*, const AudioTimeStamp&, AudioBufferList, AudioBufferList) noexcept -> OSStatus {
    usleep(20'000);
    return noErr;
  };
  const auto procedure = world.hardware().createIOProc(track, late, nullptr);
  ASSERT_TRUE(procedure);
  ASSERT_EQ(world.hardware().startDevice(track, *procedure), noErr);
  EXPECT_TRUE(world.untilLogged("the audio server went on without the input from ToneFerry_UID_Track_1"));
  const auto tap = world.engine->tapOf("pw-play");
  EXPECT_TRUE(world.until([&] {
    return tap->gaps.frames() > 0 && tap->unrenderedFrames > 0 && recorded().lostFrames > 0 &&
           world.recordings->lossNotice.get();
  })) << tap->gaps.frames()
      << " frames missing in the tap, " << tap->unrenderedFrames << " behind it, " << recorded().lostFrames
      << " in the recording";
  world.hardware().stopDevice(track, *procedure);
  world.hardware().destroyIOProc(track, *procedure);
}

TEST(StreamClock, CountsWhatTheServersClockHasMore) {
  StreamClock clock;
  const double cycle = 256 / 48000.0;
  double now = 100;
  const auto begin = [&](double cycles) { return clock.begin(now += cycles * cycle, 256, 48000); };
  EXPECT_EQ(begin(0), 0);
  EXPECT_EQ(begin(1), 256);
  // Three are missing, in a row.
  EXPECT_EQ(begin(4), 5 * 256);
  EXPECT_EQ(clock.missed().times, 1u);
  EXPECT_EQ(clock.missed().frames, 3 * 256u);
  // A converter's unevenness, and a pause.
  begin(1.1);
  clock.pause();
  begin(1000);
  // Another clock, that stands elsewhere.
  now = 3;
  begin(1);
  EXPECT_EQ(clock.missed().times, 1u);
  EXPECT_EQ(begin(1), 9 * 256);
}

struct LastingRoute : testing::TestWithParam<TapMute> {};

// Whatever happens to the server, its clock, the player and the session manager: the route goes on.
TEST_P(LastingRoute, GoesOnAfterwards) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  counting(160).write(world.session.file("counting.wav"));
  auto player = world.session.launch({"pw-play", world.session.file("counting.wav")});
  ASSERT_TRUE(world.route("pw-play", 2));
  ASSERT_TRUE(GetParam() == TapMute::unmuted || hold(world));
  Ear ear;
  const AudioDeviceID track = world.device("ToneFerry_UID_Track_1");
  const auto listener = world.hardware().createIOProc(track, Ear::take, &ear);
  ASSERT_TRUE(listener);
  ASSERT_EQ(world.hardware().startDevice(track, *listener), noErr);
  const auto goesOn = [&] {
    const std::int64_t before = ear.number;
    return world.until([&] { return ear.number > before + std::int64_t(kSecond) / 5; });
  };
  const auto pass = [&](int cycles) {
    return world.until([&, end = ear.cycles + cycles] { return ear.cycles >= end; });
  };
  const auto setting = [&](const std::string& key, int value) {
    world.session.run({"pw-metadata", "-n", "settings", "0", "clock.force-" + key, std::to_string(value)});
  };
  const auto stopped = [&](const std::string& daemon) {
    std::ifstream file(world.session.file("s/" + daemon + ".pid"));
    pid_t pid = 0;
    file >> pid;
    return pid;
  };
  ASSERT_TRUE(goesOn()) << "at first";
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(world.session.control("freeze"));
    ASSERT_TRUE(world.session.control("thaw"));
  }
  EXPECT_TRUE(goesOn()) << "freezes";
  for (const int quantum : {32, 2048, 64, 1024, 0}) {
    setting("quantum", quantum);
    EXPECT_TRUE(goesOn()) << "quantum " << quantum;
  }
  for (const int rate : {44100, 96000, 48000, 0}) {
    setting("rate", rate);
    EXPECT_TRUE(goesOn()) << "rate " << rate;
  }
  for (int i = 0; i < 3; ++i) {
    player.signal(SIGSTOP);
    ASSERT_TRUE(pass(40)) << "the server waits for a stopped player";
    player.signal(SIGCONT);
    EXPECT_TRUE(goesOn()) << "a stopped player";
  }
  const pid_t manager = stopped("wireplumber");
  kill(manager, SIGSTOP);
  EXPECT_TRUE(goesOn()) << "without a session manager";
  auto wish = world.session.launch({"pw-metadata", "0", "default.configured.audio.sink",
                                    "{ \"name\": \"fake.speaker2\" }", "Spa:String:JSON"});
  kill(manager, SIGCONT);
  wish.wait();
  EXPECT_TRUE(goesOn()) << "another default";
  world.hardware().stopDevice(track, *listener);
  world.hardware().destroyIOProc(track, *listener);
}

INSTANTIATE_TEST_SUITE_P(Ways, LastingRoute, testing::Values(TapMute::unmuted, TapMute::muted));

}  // namespace sonmere
