// An editor that plays on a real server.

#include <gtest/gtest.h>

#include <atomic>

#include "KnownSignal.h"
#include "PrivateSession.h"
#include "base/LiveRuntime.h"
#include "editor/EditorEngine.h"
#include "platform/pipewire/PipeWirePlatform.h"

namespace sonmere {

namespace {

// What another program reads of a device. Audio thread writes up to `count`, the test reads that far.
struct Ear {
  std::vector<float> samples = std::vector<float>(30 * 96000);
  std::atomic<std::size_t> count{0};

  static OSStatus take(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    auto& ear = *static_cast<Ear*>(refcon);
    if (input.empty() || !input[0].data) return noErr;
    const std::size_t from = ear.count.load(std::memory_order_relaxed);
    const std::size_t n = std::min<std::size_t>(input[0].byteSize / 4, ear.samples.size() - from);
    std::copy_n(input[0].data, n, ear.samples.begin() + std::ptrdiff_t(from));
    ear.count.store(from + n, std::memory_order_release);
    return noErr;
  }
  std::vector<float> heard(std::size_t from) const {
    return {samples.begin() + std::ptrdiff_t(from),
            samples.begin() + std::ptrdiff_t(count.load(std::memory_order_acquire))};
  }
};

struct PipeWirePlayback : testing::Test {
  static constexpr Duration kPatience = std::chrono::seconds(20);
  bool until(const std::function<bool()>& condition, Duration patience = kPatience) {
    const Duration end = runtime.uptime() + patience;
    while (!condition()) {
      if (runtime.uptime() > end) return false;
      const TaskToken wake = runtime.mainQueue().postAfter(fromMilliseconds(5), [this] { runtime.stop(); });
      runtime.run();
      wake.cancel();
    }
    return true;
  }

  PrivateSession session;
  LiveRuntime runtime;
  Log log;
  PipeWirePlatform platform{runtime, log, {session.socket(), ""}};
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, Folders{}};
};

TEST_F(PipeWirePlayback, AnEditIsHeardToTheSampleAndTheOutputGivenBack) {
  ASSERT_TRUE(session.problem().empty()) << session.problem();
  ASSERT_TRUE(platform.waitUntilReady(kPatience));
  AudioHardware& hardware = platform.hardware();
  const AudioDeviceID track = hardware.deviceForUID("ToneFerry_UID_Track_1").value_or(0);
  ASSERT_NE(track, 0u);
  ASSERT_TRUE(until([&] { return hardware.setDefaultDevice(DefaultDevice::output, track) == noErr; }));
  ASSERT_TRUE(until([&] { return hardware.defaultDevice(DefaultDevice::output) == track; }));
  Ear ear;
  const auto procedure = hardware.createIOProc(track, Ear::take, &ear);
  ASSERT_TRUE(procedure);
  ASSERT_EQ(hardware.startDevice(track, *procedure), noErr);
  ASSERT_TRUE(until([&] { return ear.count > 0; }));

  const KnownSignal signal(3);
  signal.write(session.file("take.wav"));
  auto engine = EditorEngine::open(context, session.file("take.wav"));
  ASSERT_TRUE(engine);
  (*engine)->setTrimStart(24000);
  (*engine)->setTrimEnd(120000);
  (*engine)->setGainLinear(0.5);
  std::vector<float> expected(signal.samples.begin() + 48000, signal.samples.begin() + 240000);
  for (float& sample : expected) sample *= 0.5f;
  // A busy machine misses a cycle now and then, and may try again.
  Match match;
  const auto isWhole = [&] { return match.length == expected.size() && match.gaps == 0; };
  for (int tries = 0; tries < 3 && !isWhole(); ++tries) {
    const std::size_t before = ear.count;
    (*engine)->play();
    EXPECT_TRUE(until([&] { return !*(*engine)->isPlaying(); }));
    EXPECT_EQ(*(*engine)->playheadFrame(), 120000);
    until(
        [&] {
          match = findSignal(ear.heard(before), expected);
          return isWhole();
        },
        std::chrono::seconds(2));
  }
  EXPECT_TRUE(isWhole()) << match.length << " of " << expected.size() << " samples from " << match.from
                         << " on, gaps: " << match.gaps << ", missing: " << match.missing;
  (*engine)->close();
  hardware.stopDevice(track, *procedure);
  hardware.destroyIOProc(track, *procedure);
}

}  // namespace
}  // namespace sonmere
