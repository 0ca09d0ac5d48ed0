// Apps that this program holds in hidden devices: what the session and other programs notice of it.

#include <gtest/gtest.h>

#include <atomic>

#include "SpeakerEar.h"
#include "TestPlayers.h"

namespace sonmere {

namespace {

constexpr std::size_t kLostOnTheWay = 4096;  // samples

// A tap on all of an app, and what it takes. Audio thread writes up to `count`, the test reads that far.
struct Holding {
  Holding(PipeWireWorld& itsWorld, const std::string& app, TapMute mute = TapMute::muted) : world(itsWorld) {
    world.until([&] { return !world.processesOf(app).empty(); });
    TapAggregatePlan plan;
    plan.tap = {.name = "Held", .processes = world.processesOf(app), .mute = mute};
    plan.aggregateUID = "held";
    plan.procedure = take;
    plan.clientData = this;
    if (auto made = buildTapAggregate(world.hardware(), world.runtime, plan)) objects = *made;
  }
  ~Holding() { destroyTapAggregate(world.hardware(), objects); }

  static OSStatus take(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    auto& self = *static_cast<Holding*>(refcon);
    self.cycles.fetch_add(1);
    if (input.empty() || !input[0].data) return noErr;
    const std::size_t from = self.count.load(std::memory_order_relaxed);
    const std::size_t n = std::min<std::size_t>(input[0].byteSize / 4, self.samples.size() - from);
    std::copy_n(input[0].data, n, self.samples.begin() + std::ptrdiff_t(from));
    self.count.store(from + n, std::memory_order_release);
    return noErr;
  }
  bool hears() {
    return world.until([&, before = cycles.load()] { return cycles > before + 3; });
  }
  Match heard(const KnownSignal& signal) const {
    return findSignal({samples.begin(), samples.begin() + std::ptrdiff_t(count.load())}, signal.samples);
  }

  PipeWireWorld& world;
  std::vector<float> samples = std::vector<float>(20 * 96000);
  std::atomic<std::size_t> count{0};
  std::atomic<int> cycles{0};
  TapAggregate objects;
};

struct HeldApp : testing::Test {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  }
  PipeWireWorld world{256};
};

}  // namespace

// The session manager puts devices to sleep that have been idle for five seconds, and dies of one that has
// gone meanwhile.
TEST_F(HeldApp, TheSessionManagerOutlivesIdleHiddenDevices) {
  KnownSignal(60).write(world.session.file("signal.wav"));
  for (int round = 0; round < 3; ++round) {
    auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
    Holding holding(world, "pw-play");
    ASSERT_TRUE(holding.hears()) << world.told();
    player.end();
    ASSERT_TRUE(world.until([&] { return world.processesOf("pw-play").empty(); }));
    // The device is idle once the server says so; what has been asked before is answered then.
    world.session.run({"pw-cli", "ls", "Node"});
  }
  const Duration end = world.runtime.uptime() + std::chrono::seconds(6);
  world.until([&] { return world.runtime.uptime() > end || !world.session.hasItsManager(); });
  EXPECT_TRUE(world.session.hasItsManager());
  auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
  EXPECT_TRUE(world.until([&] {
    return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"};
  })) << "programs that come later get no link";
}

// A stream that asked for a device of its own, and that something has sent into another's tap.
TEST_F(HeldApp, AStrangerInItsDeviceGoesBackToWhereItAskedToBe) {
  KnownSignal(60).write(world.session.file("signal.wav"));
  auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
  Holding holding(world, "pw-play");
  ASSERT_TRUE(holding.hears()) << world.told();
  const std::vector<std::string> asked = {"fake.speaker2"};
  auto stranger =
      world.session.launch({"pw-cat", "-p", "--target", asked[0], world.session.file("signal.wav")});
  ASSERT_TRUE(world.until([&] { return world.outputsOf("pw-cat") == asked; }));
  const auto numberOf = [&](const std::string& name, const std::string& label) {
    const std::string nodes = world.session.run({"pw-cli", "ls", "Node"});
    const auto block = nodes.rfind("\tid ", nodes.find("node.name = \"" + name));
    const auto number = block == std::string::npos ? block : nodes.find(label, block);
    return number == std::string::npos ? "" : std::to_string(std::stoi(nodes.substr(number + label.size())));
  };
  const std::string sent = world.session.run({"pw-metadata", numberOf("pw-cat", "id "), "target.object",
                                              numberOf("sonmere-tap", "object.serial = \""), "Spa:Id"});
  ASSERT_TRUE(world.untilLogged("not its own")) << sent;
  EXPECT_TRUE(world.until([&] { return world.outputsOf("pw-cat") == asked; }))
      << world.session.run({"pw-metadata"});
}

// The PulseAudio service tells its client of a stream once that is linked to an ordinary device, and so never
// of one that went to a hidden device first: the client waited for 30 s and gave up.
TEST_F(HeldApp, ItsFurtherStreamsAreMadeAtOnce) {
  KnownSignal(60).write(world.session.file("long.wav"));
  KnownSignal(0.1).write(world.session.file("short.wav"));
  for (const Player& player : players()) {
    SCOPED_TRACE(player.name);
    auto first = world.session.launch(playing(player, world.session.file("long.wav")));
    Holding holding(world, player.name);
    ASSERT_TRUE(holding.hears()) << world.told();
    std::vector<SessionProgram> further;
    for (int i = 0; i < 3; ++i)
      further.push_back(world.session.launch(playing(player, world.session.file("short.wav"))));
    for (auto& program : further) EXPECT_EQ(program.wait(), 0);
  }
}

// Twenty streams of one program at once.
TEST_F(HeldApp, AProgramOfManyStreamsIsHeldWhole) {
  KnownSignal(60).write(world.session.file("long.wav"));
  KnownSignal(1).write(world.session.file("short.wav"));
  auto first = world.session.launch(playing(players().back(), world.session.file("long.wav")));
  Holding holding(world, "ffmpeg");
  ASSERT_TRUE(holding.hears()) << world.told();
  std::vector<std::string> command = players().back().command;
  command.push_back(world.session.file("short.wav"));
  for (int i = 0; i < 20; ++i)
    command.insert(command.end(), {"-c:a", "pcm_f32le", "-f", "pulse", std::to_string(i)});
  EXPECT_EQ(world.session.launch(command).wait(), 0) << world.session.programLog();
}

// What an expected app plays reaches its tap from its beginning to its end, and no device before that.
TEST_F(HeldApp, AnExpectedAppIsHeardByItsTapAlone) {
  const KnownSignal sound(0.08);
  sound.write(world.session.file("sound.wav"));
  SpeakerEar speaker(world);
  ASSERT_TRUE(speaker.isReady);
  world.hardware().expectCapture("test", {{"pw-play", "paplay", "mpv"}});
  for (int round = 0; round < 3; ++round)
    for (const Player& player : wholePlayers()) {
      SCOPED_TRACE(player.name);
      auto program = world.session.launch(playing(player, world.session.file("sound.wav")));
      Holding holding(world, player.name);
      EXPECT_EQ(program.wait(), 0);
      // A stream that is moved on may lose some cycles between its links: three, or eight where the machine
      // is busy.
      EXPECT_TRUE(world.until([&] {
        return holding.heard(sound).length + kLostOnTheWay >= sound.samples.size();
      })) << holding.heard(sound).length
          << " samples from " << holding.heard(sound).from << ", " << holding.heard(sound).gaps << " gaps";
      EXPECT_TRUE(world.until([&] { return world.processesOf(player.name).empty(); }));
    }
  EXPECT_EQ(speaker.heard(sound).length, 0u);
}

// An unmuted tap hears all of it too, though it is not the only one.
TEST_F(HeldApp, AnExpectedAppIsHeardWholeByATapThatLetsItPlay) {
  const KnownSignal sound(0.08);
  sound.write(world.session.file("sound.wav"));
  world.hardware().expectCapture("test", {{"pw-play", "paplay", "mpv"}});
  for (int round = 0; round < 3; ++round)
    for (const Player& player : wholePlayers()) {
      SCOPED_TRACE(player.name);
      auto program = world.session.launch(playing(player, world.session.file("sound.wav")));
      Holding listening(world, player.name, TapMute::unmuted);
      EXPECT_EQ(program.wait(), 0);
      EXPECT_TRUE(world.until([&] {
        return listening.heard(sound).length + kLostOnTheWay >= sound.samples.size();
      })) << listening.heard(sound).length
          << " samples from " << listening.heard(sound).from << ", " << listening.heard(sound).gaps
          << " gaps";
      EXPECT_TRUE(world.until([&] { return world.processesOf(player.name).empty(); }));
    }
}

// Without a tap it waits for a while, and loses nothing; an app that nobody expects does not wait.
TEST_F(HeldApp, AnExpectedAppThatNobodyCapturesPlaysAfterAll) {
  const KnownSignal sound(0.08, 1), other(0.08, 2);
  sound.write(world.session.file("sound.wav"));
  other.write(world.session.file("other.wav"));
  SpeakerEar speaker(world);
  ASSERT_TRUE(speaker.isReady);
  world.hardware().expectCapture("test", {{"pw-play", "mpv"}, true});
  for (const Player& player : wholePlayers()) {
    const Duration begin = world.runtime.uptime();
    EXPECT_EQ(world.session.launch(playing(player, world.session.file("sound.wav"))).wait(), 0);
    EXPECT_EQ(world.runtime.uptime() - begin > kLongestCaptureWait, player.name == "paplay") << player.name;
  }
  // Who waits when it is taken back goes on at once.
  auto waiting = world.session.launch({"paplay", world.session.file("other.wav")});
  ASSERT_TRUE(world.until([&] { return !world.processesOf("paplay").empty(); }));
  world.hardware().expectCapture("test", {});
  EXPECT_EQ(waiting.wait(), 0);
  const auto heard = speaker.heard();
  EXPECT_EQ(findSignal(heard, sound.samples).length, 3 * sound.samples.size());
  EXPECT_EQ(findSignal(heard, other.samples).length, other.samples.size());
}

}  // namespace sonmere
