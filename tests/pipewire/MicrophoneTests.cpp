// The microphone on a real server: what plays into it is read from the bridge by other programs.

#include <gtest/gtest.h>

#include "PipeWireWorld.h"
#include "input/MicPassthroughEngine.h"

namespace sonmere {

namespace {

constexpr std::size_t kSecond = 96000;  // samples
#ifdef SONMERE_SANITIZED
constexpr std::size_t kEnough = kSecond / 8;
#else
constexpr std::size_t kEnough = kSecond / 2;
#endif

struct MicrophoneWorld : PipeWireWorld {
  MicrophoneWorld() : PipeWireWorld(256) {}
  ~MicrophoneWorld() { mic.reset(); }

  // A voice in the microphone, and another program that reads the device.
  void speak() {
    signal.write(session.file("voice.wav"));
    voice = session.launch({"pw-play", "--target", "fake.mic.feed", session.file("voice.wav")});
  }
  bool isHeardFrom(const std::string& uid) {
    const std::string file = session.file(uid + std::to_string(++takes) + ".wav");
    auto reader = session.launch({"pw-record", "--target", uid, "--format", "f32", file});
    Match match;
    return untilRecorded(file, signal, kEnough, match);
  }

  const KnownSignal signal{60};
  std::unique_ptr<MicPassthroughEngine> mic;
  SessionProgram voice;
  int takes = 0;
};

TEST(Microphone, OtherProgramsHearItFromTheBridge) {
  MicrophoneWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  world.mic = std::make_unique<MicPassthroughEngine>(world.context);
  world.mic->launch();
  ASSERT_TRUE(world.mic->select("fake.mic"));
  world.mic->setChannelMode(InputChannelMode::stereo);
  world.speak();
  world.mic->setEnabled(true);
  ASSERT_TRUE(world.until([&] { return world.mic->isRunning(); })) << world.mic->errorMessage->value_or("");
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID")) << "every sample as it was";
  world.engine->setMicSend(3, 1);
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID_Track_2"));

  ASSERT_TRUE(world.session.control("restart"));
  ASSERT_TRUE(world.until([&] { return world.mic->isRunning() && world.device("fake.mic") != 0; }));
  world.voice.end();
  world.speak();
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID")) << "also after the server was away";
}

}  // namespace

}  // namespace sonmere
