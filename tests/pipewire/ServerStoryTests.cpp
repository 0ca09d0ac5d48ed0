// What happens to the server, its devices and its programs while apps are routed.

#include <gtest/gtest.h>

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <csignal>

#include "PipeWireWorld.h"
#include "platform/pipewire/PipeWireLoop.h"
#include "support/RoutingInsides.h"

namespace sonmere {

namespace {
constexpr int kTrack1 = 2;

// A table named as the session's own, to which nobody writes.
class SilentTable {
 public:
  explicit SilentTable(const std::string& socket) {
    const PipeWireLoop::Lock lock(loop_);
    core_ = pw_context_connect(loop_.context(),
                               pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), nullptr), 0);
    const spa_dict_item item{PW_KEY_METADATA_NAME, "default"};
    const spa_dict properties{0, 1, &item};
    if (!core_) return;
    table_ = static_cast<pw_proxy*>(pw_core_create_object(core_, "metadata", PW_TYPE_INTERFACE_Metadata,
                                                          PW_VERSION_METADATA, &properties, 0));
  }
  ~SilentTable() {
    const PipeWireLoop::Lock lock(loop_);
    if (table_) pw_proxy_destroy(table_);
    if (core_) pw_core_disconnect(core_);
  }

 private:
  PipeWireLoop loop_;
  pw_core* core_ = nullptr;
  pw_proxy* table_ = nullptr;
};

std::size_t openFiles() {
  return std::size_t(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                   std::filesystem::directory_iterator()));
}
}  // namespace

// A server that is killed and started again finds its routes as they were, and a recording goes on in the
// same file; the app that the user had routed is routed when it plays again.
TEST(ServerStory, RoutesAndRecordingsSurviveARestartOfTheServer) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const KnownSignal signal(120);
  signal.write(world.session.file("signal.wav"));
  const std::vector<std::string> play = {"pw-play", world.session.file("signal.wav")};
  auto program = world.session.launch(play);
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  world.recordings->startRecording(kTrack1);
  ASSERT_TRUE(world.recordings->isRecording(kTrack1)) << *world.recordings->errorMessage;
  const auto framesWritten = [&] {
    const auto& statuses = *world.recordings->busRecordingStatuses;
    return statuses.contains(kTrack1) ? statuses.at(kTrack1).framesWritten : 0;
  };
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(world.until([&, before = framesWritten()] { return framesWritten() > before + 24000; }));
    ASSERT_TRUE(world.session.control("kill", "pipewire"));
    ASSERT_TRUE(world.untilLogged("the audio server has gone"));
    EXPECT_FALSE(world.hardware().devices().has_value());
    program.end();
    ASSERT_TRUE(world.session.control("restart"));
    program = world.session.launch(play);
    {
      const std::lock_guard lock(world.mutex);
      world.lines.clear();
    }
  }
  ASSERT_TRUE(world.until([&, before = framesWritten()] { return framesWritten() > before + 24000; }));
  const auto paths = world.stopRecordings();
  ASSERT_EQ(paths.size(), 1u);
  const Match match = findSignal(readSamples(paths[0]), signal.samples);
  EXPECT_GT(match.length, 4u * 24000 * 2);
}

TEST(ServerStory, AGapIsToldWithItsLength) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const KnownSignal signal(60);
  signal.write(world.session.file("signal.wav"));
  auto program = world.session.launch({"pw-play", world.session.file("signal.wav")});
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  world.recordings->startRecording(kTrack1);
  ASSERT_TRUE(world.until([&] {
    const auto& statuses = *world.recordings->busRecordingStatuses;
    return statuses.contains(kTrack1) && statuses.at(kTrack1).framesWritten > 4800;
  }));
  ASSERT_TRUE(world.session.control("kill", "pipewire"));
  ASSERT_TRUE(world.session.control("restart"));
  program = world.session.launch({"pw-play", world.session.file("signal.wav")});
  EXPECT_TRUE(world.untilLogged("the recording of bus 2 has a gap of"));
  world.stopRecordings();
}

// A server that stands still is noticed and told, and so is that it goes on.
TEST(ServerStory, AFrozenServerIsNoticed) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal(60).write(world.session.file("signal.wav"));
  auto program = world.session.launch({"pw-play", world.session.file("signal.wav")});
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  const auto tap = world.engine->tapOf("pw-play");
  ASSERT_TRUE(world.until([&] { return tap->callbackCount > 10; }));
  EXPECT_FALSE(world.logged("has stopped answering"));
  ASSERT_TRUE(world.session.control("freeze"));
  EXPECT_TRUE(world.untilLogged("has stopped answering"));
  ASSERT_TRUE(world.session.control("thaw"));
  EXPECT_TRUE(world.untilLogged("answers again"));
  EXPECT_TRUE(
      world.until([&, calls = tap->callbackCount.load()] { return tap->callbackCount > calls + 10; }));
}

// Devices come and go, and other programs change the default: the engines' listeners hear of it.
TEST(ServerStory, DevicesAndDefaultsAreFollowed) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  AudioHardware& hardware = world.hardware();
  int lists = 0, defaults = 0;
  ASSERT_TRUE(hardware.addListener(kAudioObjectSystemObject, AudioProperty::devices, AudioScope::global,
                                   world.runtime.mainQueue(), [&] { ++lists; }));
  ASSERT_TRUE(hardware.addListener(kAudioObjectSystemObject, AudioProperty::defaultOutput, AudioScope::global,
                                   world.runtime.mainQueue(), [&] { ++defaults; }));
  EXPECT_EQ(hardware.defaultDevice(DefaultDevice::output).value_or(0), world.device("fake.speaker"));
  world.session.run({"pw-metadata", "0", "default.configured.audio.sink", "{ \"name\": \"fake.speaker2\" }",
                     "Spa:String:JSON"});
  EXPECT_TRUE(world.until([&] {
    return defaults > 0 && hardware.defaultDevice(DefaultDevice::output) == world.device("fake.speaker2");
  }));
  EXPECT_EQ(hardware.setDefaultDevice(DefaultDevice::output, world.device("fake.speaker")), noErr);
  EXPECT_EQ(hardware.defaultDevice(DefaultDevice::output).value_or(0), world.device("fake.speaker"));

  // A device that lives as long as the program that made it.
  const std::vector<std::string> headset = {
      "pw-loopback", "--capture-props", "media.class=Audio/Sink node.name=headset audio.position=[FL,FR]"};
  auto plug = world.session.launch(headset);
  ASSERT_TRUE(world.until([&] { return lists > 0 && world.device("headset") != 0; }));
  const AudioDeviceID first = world.device("headset");
  EXPECT_EQ(hardware.streamConfiguration(first, AudioScope::output).value(), std::vector<std::uint32_t>{2});
  const auto unit = hardware.newOutputUnit();
  ASSERT_EQ((*unit)->setCurrentDevice(first), noErr);
  ASSERT_EQ((*unit)->setStreamFormat(AudioScope::input, {48000, 2}), noErr);
  ASSERT_EQ((*unit)->initialize(), noErr);
  ASSERT_EQ((*unit)->start(), noErr);
  plug.end();
  ASSERT_TRUE(world.until([&] { return world.device("headset") == 0; }));
  EXPECT_FALSE(hardware.isAlive(first).has_value());
  EXPECT_EQ((*unit)->stop(), noErr);
  EXPECT_NE((*unit)->start(), noErr);
  plug = world.session.launch(headset);
  ASSERT_TRUE(world.until([&] { return world.device("headset") != 0; }));
  EXPECT_NE(world.device("headset"), first);
}

// A table of the session that tells nothing: the one that does is found, however often it changes.
TEST(ServerStory, ASilentTableIsNotTheLastWord) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const auto defaultUID = [&] {
    return world.hardware()
        .deviceUID(world.hardware().defaultDevice(DefaultDevice::output).value_or(0))
        .value_or("");
  };
  ASSERT_EQ(defaultUID(), "fake.speaker");
  {
    const SilentTable silent(world.session.socket());
    ASSERT_TRUE(world.until([&] { return defaultUID().empty(); })) << "the table has not been noticed";
    EXPECT_TRUE(world.until([&] { return defaultUID() == "fake.speaker"; }));
    EXPECT_EQ(world.hardware().setDefaultDevice(DefaultDevice::output, world.device("fake.speaker2")), noErr);
  }
  EXPECT_TRUE(world.until([&] { return defaultUID() == "fake.speaker2"; }));
  // Without a session nobody tells; what it would choose is taken.
  ASSERT_TRUE(world.session.control("kill", "wireplumber"));
  ASSERT_TRUE(world.until([&] { return defaultUID().empty(); }));
  EXPECT_TRUE(world.until([&] { return defaultUID() == "fake.speaker"; }));
}

// An app that ends leaves nothing running, and is routed by itself when it plays again.
TEST(ServerStory, AnAppThatComesBackIsRoutedAgain) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal(60).write(world.session.file("signal.wav"));
  const std::vector<std::string> play = {"paplay", world.session.file("signal.wav")};
  auto program = world.session.launch(play);
  ASSERT_TRUE(world.route("paplay", kTrack1));
  program.end();
  ASSERT_TRUE(world.until([&] { return RoutingInsides(*world.engine).activeTaps.empty(); }));
  EXPECT_TRUE(world.until([&] { return !world.engine->isBusRunning(kTrack1); }));
  program = world.session.launch(play);
  EXPECT_TRUE(world.until([&] {
    const auto tap = world.engine->tapOf("paplay");
    return tap && tap->callbackCount > 3;
  }));
}

// A program that asks not to be moved is captured, but not muted: it is told, and plays on where it is.
TEST(ServerStory, AProgramThatAsksToStayIsLeftAlone) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal(60).write(world.session.file("signal.wav"));
  auto program = world.session.launch(
      {"pw-play", "-P", "{ node.dont-reconnect=true }", world.session.file("signal.wav")});
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  const auto tap = RoutingInsides(*world.engine).tap("pw-play");
  ASSERT_TRUE(world.until([&] { return tap->callbackCount > 3; })) << "a capture needs no move";
  tap->monitor.setEnabled(true);
  EXPECT_FALSE(RoutingInsides(*world.engine).taps.rebuildTap(tap->bundleID, true));
  EXPECT_TRUE(world.logged("asks the audio server to leave it where it is"));
  EXPECT_EQ(world.outputsOf("pw-play"), std::vector<std::string>{"fake.speaker"});
}

TEST(ServerStory, TheRateIsTheWholeGraphs) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  const AudioDeviceID speaker = world.device("fake.speaker"), track = world.device("ToneFerry_UID_Track_1");
  EXPECT_EQ(world.hardware().setNominalSampleRate(speaker, 44100), noErr);
  EXPECT_EQ(world.hardware().nominalSampleRate(track).value_or(0), 44100);
  EXPECT_NE(world.hardware().setNominalSampleRate(speaker, 3), noErr);
  EXPECT_EQ(world.hardware().setNominalSampleRate(track, 48000), noErr);
  EXPECT_EQ(world.hardware().nominalSampleRate(speaker).value_or(0), 48000);
}

// Nothing piles up over many lives of a tap.
TEST(ServerStory, TapsLeaveNothingBehind) {
  PipeWireWorld world(256);
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal(60).write(world.session.file("signal.wav"));
  auto program = world.session.launch({"pw-play", world.session.file("signal.wav")});
  ASSERT_TRUE(world.route("pw-play", kTrack1));
  const auto cycle = [&](bool muted) {
    ASSERT_TRUE(world.engine->setMuted("pw-play", muted));
    ASSERT_TRUE(world.engine->setRouted("pw-play", false));
    ASSERT_TRUE(world.engine->setRouted("pw-play", true));
    const auto tap = world.engine->tapOf("pw-play");
    ASSERT_TRUE(world.until([&] { return tap->callbackCount > 0; }));
  };
  for (int i = 0; i < 10; ++i) cycle(i % 2 == 0);
  for (int i = 0; i < 50; ++i) world.pump();
  const std::size_t before = openFiles();
  for (int i = 0; i < 200; ++i) cycle(i % 2 == 0);
  // The last of them lingers for a moment.
  EXPECT_TRUE(world.until([&] { return openFiles() <= before + 4; })) << before << " before, " << openFiles();
  const auto nodes = world.session.run({"pw-cli", "ls", "Node"});
  std::size_t taps = 0;
  for (std::size_t at = 0; (at = nodes.find("sonmere-tap-", at)) != std::string::npos; ++at) ++taps;
  EXPECT_LE(taps, 2u) << nodes;
}

}  // namespace sonmere
