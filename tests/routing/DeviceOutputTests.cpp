#include "routing/DeviceOutputs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdlib>

#include "support/RealtimeGuard.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

// The render alone, with a ring that the test fills.
class AppOutputRenderTest : public testing::Test {
 protected:
  AppOutputRenderTest() { render(64); }
  ~AppOutputRenderTest() override { EXPECT_REALTIME_SAFE(guard); }

  // Counting samples, so that a skip shows.
  void write(std::int64_t samples) {
    std::vector<float> block(static_cast<std::size_t>(samples));
    for (float& sample : block) sample = float(written++);
    tap->ring.writer.write(block.data(), samples);
  }
  std::vector<float> render(std::size_t frames) {
    std::vector<float> out(frames * context.channels, 7.0f);
    AudioBuffer buffer{context.channels, std::uint32_t(out.size() * 4), out.data()};
    EXPECT_EQ(renderAppOutput(static_cast<RenderContext*>(&context), {}, std::uint32_t(frames), {&buffer, 1}),
              noErr);
    return out;
  }
  StereoRing::Reader& ring() { return tap->ring.reader(); }

  RealtimeGuard guard;
  RenderFlags flags;
  std::shared_ptr<SingleAppTap> tap =
      std::make_shared<SingleAppTap>(1, std::vector<AudioObjectID>{1}, "music", flags);
  AppOutputContext context{tap, 48000};
  std::int64_t written = 0;
};

TEST_F(AppOutputRenderTest, ABacklogIsDrawnInByStepsAndCutWhenItIsBeyondHope) {
  struct Case {
    std::int64_t frames, waiting, left, skipped, hardTrims;
  };
  for (const Case& each : {Case{256, 512 + 1000, 1000, 64, 0},        // short blocks by 64 samples
                           Case{256, 512 + 768 + 10, 778, 10, 0},     // not below the aim
                           Case{256, 512 + 768, 768, 0, 0},           //
                           Case{259, 518 + 2000, 2000, 64, 0},        //
                           Case{260, 520 + 2000, 2000, 64, 0},        // 65, in whole frames
                           Case{512, 1024 + 3000, 3000, 128, 0},      // an eighth of a block
                           Case{4096, 8192 + 12000, 12000, 1024, 0},  //
                           Case{512, 4 * 512 + 4096, 5120, 128, 0},   // just within hope
                           Case{512, 4 * 512 + 4098, 256, 0, 1}}) {
    SCOPED_TRACE(each.frames);
    SCOPED_TRACE(each.waiting);
    ring().skipToLive();
    const std::int64_t skipped = ring().skipped, trims = ring().hardTrims, first = written;
    write(each.waiting);
    const auto out = render(std::size_t(each.frames));
    EXPECT_EQ(out.front(), float(each.hardTrims == 0 ? first : written - 2 * each.frames - 256));
    EXPECT_EQ(out.back(), out.front() + float(2 * each.frames - 1)) << "a block has no seam in itself";
    EXPECT_EQ(ring().lastBacklog, each.left);
    EXPECT_EQ(ring().hardTrims - trims, each.hardTrims);
    const std::int64_t cut = each.hardTrims > 0 ? each.waiting - 2 * each.frames - 256 : 0;
    EXPECT_EQ(ring().skipped - skipped, each.skipped + cut);
    EXPECT_EQ(tap->ring.available(), each.left - each.skipped);
  }
}

TEST_F(AppOutputRenderTest, TooLittleIsSilenceAMutedAppIsEmptiedAndTheVolumeIsPlain) {
  write(100);
  EXPECT_EQ(render(64), std::vector<float>(128, 0.0f));
  EXPECT_EQ(tap->ring.available(), 100);
  write(28);
  tap->volume = 3.0f;
  EXPECT_EQ(render(64).back(), 127 * 3.0f) << "nothing limits it";
  write(100);
  EXPECT_EQ(render(64), std::vector<float>(128, 0.0f)) << "and not the block before";
  write(128);
  EXPECT_EQ(render(5000), std::vector<float>(10000, 0.0f)) << "longer than what it works on";
  tap->isMuted = true;
  EXPECT_EQ(render(64), std::vector<float>(128, 0.0f));
  EXPECT_EQ(tap->ring.available(), 0);
  tap->isMuted = false;
  write(128);
  context.channels = 4;
  context.placedLeft = 3;
  context.placedRight = 1;
  tap->volume = 1.0f;
  const auto out = render(64);
  EXPECT_EQ(std::vector(out.begin(), out.begin() + 8),
            (std::vector<float>{0, float(written - 127), 0, float(written - 128), 0, float(written - 125), 0,
                                float(written - 126)}));
  context.retired = true;
  write(128);
  EXPECT_EQ(render(64), std::vector<float>(256, 0.0f)) << "the unit waits for disposal";
}

// Ten hours of two clocks, one a fifth of a thousandth faster.
TEST_F(AppOutputRenderTest, ClocksThatDriftApartKeepTheBacklogAtItsAim) {
  constexpr std::int64_t kFrames = 512, kCaptured = 128;
  for (const double ppm : {200.0, -200.0}) {
    ring().skipToLive();
    const std::int64_t skippedBefore = ring().skipped, missesBefore = ring().misses();
    std::vector<float> in(2 * kCaptured, 0.5f), out(2 * kFrames);
    AudioBuffer buffer{2, std::uint32_t(out.size() * 4), out.data()};
    const double writerStep = kCaptured / 48000.0 / (1 + ppm / 1e6), readerStep = kFrames / 48000.0;
    double writerTime = 0;
    std::int64_t highest = 0;
    for (double now = readerStep; now < 36000; now += readerStep) {
      for (; writerTime <= now; writerTime += writerStep) tap->ring.writer.write(in.data(), 2 * kCaptured);
      renderAppOutput(static_cast<RenderContext*>(&context), {}, kFrames, {&buffer, 1});
      if (now > 1) highest = std::max(highest, ring().lastBacklog.load());
    }
    EXPECT_LE(highest, 2 * kFrames + 256 + 2 * kCaptured) << "the aim, and the capture's own step";
    EXPECT_EQ(ring().hardTrims, 0);
    const double lost = double(ring().skipped - skippedBefore) / 2 / 48000 / 36000 * 1e6;  // ppm
    const double silent = double(ring().misses() - missesBefore) * kFrames / 48000 / 36000 * 1e6;
    EXPECT_NEAR(lost - silent, ppm, 1) << "what is skipped and waited for is the drift";
    RecordProperty(ppm > 0 ? "skipsPerSecondFast" : "gapsPerSecondSlow",
                   std::to_string(ppm > 0 ? lost * 48000 / 1e6 : silent * 48000 / 1e6 / kFrames));
  }
}

// The loudest that is far from a tone of 1 kHz in a second of it, in dB against the tone. Of a whole tone the
// window leaves nothing there.
double clickLevel(const std::vector<float>& second) {
  const std::size_t n = second.size();
  const auto levelAt = [&](double hertz) {
    std::complex<double> sum = 0;
    const auto turn = std::polar(1.0, -2 * M_PI * hertz / 48000),
               bend = std::polar(1.0, 2 * M_PI / double(n));
    std::complex<double> phase = 1, window = 1;
    for (std::size_t i = 0; i < n; ++i, phase *= turn, window *= bend)
      sum += double(second[i]) * (0.5 - 0.5 * window.real()) * phase;
    return std::abs(sum);
  };
  double worst = 0;
  for (double hertz = 1500; hertz < 20000; hertz += 250) worst = std::max(worst, levelAt(hertz));
  return 20 * std::log10(worst / levelAt(1000));
}

// A tone through clocks 200 ppm apart. SONMERE_DRIFT_SECONDS makes it longer.
struct ToneAcrossClocks {
  static constexpr std::int64_t kFrames = 512, kCaptured = 128;

  // One block of the device, after what was captured until then.
  void render(StereoRing& ring, AppOutputContext& context, double writerStep) {
    now += kFrames / 48000.0;
    for (; writerTime <= now; writerTime += writerStep) {
      for (std::size_t i = 0; i < in.size(); i += 2, ++phase)
        in[i] = in[i + 1] = 0.5f * float(std::sin(2 * M_PI * double(phase % 48) / 48));
      ring.writer.write(in.data(), std::int64_t(in.size()));
    }
    AudioBuffer buffer{2, std::uint32_t(out.size() * 4), out.data()};
    renderAppOutput(static_cast<RenderContext*>(&context), {}, kFrames, {&buffer, 1});
    for (std::size_t i = 0; now > 1 && i < out.size(); i += 2) hear(out[i]);
  }
  void hear(float sample) {
    second.push_back(sample);
    if (second.size() < 48000) return;
    levels.push_back(clickLevel(second));
    second.clear();
  }

  double now = 0, writerTime = 0;
  std::int64_t phase = 0;
  std::vector<float> in = std::vector<float>(2 * kCaptured), out = std::vector<float>(2 * kFrames), second;
  std::vector<double> levels;  // dB, by second
};

// Skips come in a row and seldom, so that nearly every second is whole.
TEST_F(AppOutputRenderTest, ASecondWithAClickIsSeldomWhereClocksDriftApart) {
  const char* chosen = std::getenv("SONMERE_DRIFT_SECONDS");
  const std::size_t seconds = chosen ? std::size_t(std::atoi(chosen)) : 120;
  for (const double ppm : {0.0, 200.0, -200.0}) {
    ring().skipToLive();
    ToneAcrossClocks tone;
    while (tone.levels.size() < seconds)
      tone.render(tap->ring, context, ToneAcrossClocks::kCaptured / 48000.0 / (1 + ppm / 1e6));
    std::ranges::sort(tone.levels);
    const auto clean = std::ranges::count_if(tone.levels, [](double level) { return level < -60; });
    std::printf("%+.0f ppm: below -60 dB in %td of %zu seconds, %.0f dB in the worst\n", ppm, clean, seconds,
                tone.levels.back());
    EXPECT_GE(double(clean), (ppm == 0 ? 1 : 0.95) * double(seconds));
    EXPECT_LT(tone.levels.back(), ppm == 0 ? -120 : -45);
  }
}

// The whole: an app on a device of its own, and ears.
struct DeviceOutputTest : testing::Test {
  static constexpr const char* kInterfaceUID = "Interface";

  void begin(std::uint32_t channels = 8) {
    world = std::make_unique<RoutingWorld>();
    SimulatedDeviceDescription device;
    device.uid = device.name = kInterfaceUID;
    device.outputChannels = channels;
    device.clockErrorPpm = 150;
    world->host().plug(device);
    music = world->launch("music");
    world->startEngine();
    music.play(SampleSources::tone(440, 0.5f));
    world->engine->setBus("music", 3);
    ASSERT_TRUE(world->engine->setRouted("music", true));
  }
  bool choose(int left = 0, int right = 1) {
    return world->engine->setOutput("music", {kInterfaceUID, left, right});
  }
  // Of each channel of a device in the next second.
  std::vector<float> peaksOn(const std::string& uid) {
    world->wait(0.3);
    const auto ear = world->host().hear(uid);
    world->wait(0.7);
    const std::uint32_t channels = std::max(ear->channels(), 1u);
    std::vector<float> peaks(channels, 0.0f);
    const auto samples = ear->samples();
    for (std::size_t i = 0; i < samples.size(); ++i)
      peaks[i % channels] = std::max(peaks[i % channels], std::round(std::abs(samples[i]) * 100) / 100);
    return peaks;
  }
  std::vector<float> at(std::size_t left, std::size_t right, std::size_t channels = 8) {
    std::vector<float> peaks(channels, 0.0f);
    peaks[left] = peaks[right] = 0.5f;
    return peaks;
  }
  int logged(const std::string& text) const { return int(std::ranges::count(world->lines, text)); }
  const SingleAppTap& tap() const { return *world->engine->tapOf("music"); }

  std::unique_ptr<RoutingWorld> world;
  SimulatedApp music;
};

TEST_F(DeviceOutputTest, AnAppIsHeardOnItsPairOfItsDeviceAndNowhereElse) {
  begin();
  ASSERT_TRUE(choose(4, 5));
  EXPECT_EQ(peaksOn(kInterfaceUID), at(4, 5));
  EXPECT_TRUE(music.isSilenced());
  EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.0f));
  EXPECT_FALSE(world->engine->isBusRunning(3));
  EXPECT_LE(world->engine->tapOf("music")->ring.reader().lastBacklog, 2 * 512 + 256 + 2 * 128);
  ASSERT_TRUE(choose(7, 2));
  EXPECT_TRUE(choose(7, 2)) << "as it is";
  EXPECT_EQ(peaksOn(kInterfaceUID), at(7, 2));
  EXPECT_EQ(world->host().counts().runningUnits, 1u);
  world->wait(4);
  EXPECT_TRUE(std::ranges::any_of(world->lines, [](const std::string& line) {
    return line.starts_with("music → Interface: backlog ") && line.ends_with("hard-trims 0");
  })) << "the figures are in the log";
  ASSERT_TRUE(world->engine->setOutput("music", {}));
  EXPECT_EQ(logged("Sonmere: music back to bridge routing"), 1);
  EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.5f));
  EXPECT_EQ(peaksOn(kInterfaceUID), std::vector<float>(8, 0.0f));
  EXPECT_FALSE(music.isSilenced());
}

TEST_F(DeviceOutputTest, APairThatTheDeviceDoesNotHaveOrTakeIsPlayedAsNearAsCanBe) {
  begin(2);
  ASSERT_TRUE(choose(2, 3));
  EXPECT_EQ(
      logged("Sonmere: Interface has 2 output channels — pair 3/4 unavailable, using 1–2 (intent kept)"), 1);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(0, 1, 2));
  EXPECT_EQ(world->row("music").outputLeftChannel, 2) << "the wish";

  using enum Operation;
  const auto refuse = [&](Operation operation, int times) {
    for (int n = 1; n <= times; ++n)
      world->host().faults().failNth(operation, std::uint64_t(n), kAudioUnitErrFormatNotSupported);
  };
  begin(8);
  refuse(unitSetStreamFormat, 1);
  ASSERT_TRUE(choose(4, 5));
  EXPECT_EQ(
      logged("Sonmere: Interface refused a 8-ch client format — falling back to stereo + AU channel map"), 1);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(4, 5)) << "by a map";
  refuse(unitSetStreamFormat, 1);
  refuse(unitSetChannelMap, 1);
  ASSERT_TRUE(choose(6, 7));
  EXPECT_EQ(logged("Sonmere: channel map (7/8) also refused by Interface (err -10868) — pair lands on 1–2"),
            1);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(0, 1)) << "sound rather than none";
  refuse(unitSetStreamFormat, 2);
  EXPECT_FALSE(choose(2, 3));
  EXPECT_EQ(logged("Sonmere: pair change re-host failed for music — falling back to normal output"), 1);
  EXPECT_EQ(world->error(), "Couldn't route to Interface: it refused the format: -10868");
  EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.5f));
  EXPECT_EQ(world->row("music").outputDeviceUID, kInterfaceUID) << "the wish";
  world->host().unplug(SimulatedHost::kHeadsetUID);
  world->settle();
  EXPECT_FALSE(tap().isOnDevice()) << "it is not asked again for another device's sake";
  world->host().unplug(kInterfaceUID);
  world->settle();
  world->host().replug(kInterfaceUID);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(2, 3));
  EXPECT_EQ(world->error(), "");
}

// Whatever step of the way to the device fails, the app is heard on its bus and nothing is left over.
TEST_F(DeviceOutputTest, EveryStepThatFailsLeavesTheAppOnItsBusOrNotRouted) {
  begin();
  for (std::size_t each = 0; each < std::size_t(Operation::count); ++each) {
    for (std::uint64_t nth = 1; nth <= 3; ++nth) {
      const auto operation = Operation(each);
      // What a server will not take down stays.
      if (operationName(operation).starts_with("destroy")) break;
      SCOPED_TRACE(std::string(operationName(operation)) + " " + std::to_string(nth));
      begin();
      const auto before = world->host().counts();
      const std::uint64_t calls = world->host().faults().calls(operation);
      world->host().faults().failNth(operation, nth, kAudioHardwareUnspecifiedError);
      choose(2, 3);
      if (world->host().faults().calls(operation) < calls + nth) break;
      world->host().faults().clear();
      world->engine->setRouted("music", true);
      world->wait(0.2);
      const auto tap = world->engine->tapOf("music");
      ASSERT_TRUE(tap);
      EXPECT_EQ(std::ranges::max(peaksOn(kInterfaceUID)) > 0, tap->isOnDevice());
      ASSERT_TRUE(world->engine->setOutput("music", {}));
      EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.5f));
      auto after = world->host().counts();
      after.listeners = before.listeners;
      EXPECT_EQ(after, before);
    }
  }
}

TEST_F(DeviceOutputTest, ADeviceThatGoesLeavesTheAppToItsBusAndHasItAgainWhenItIsBack) {
  begin();
  ASSERT_TRUE(choose(2, 3));
  const auto saved = world->settings.dictionary("sonmere.perapp.outputDevices");
  for (int round = 1; round <= 2; ++round) {
    world->host().unplug(kInterfaceUID);
    EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.5f));
    EXPECT_EQ(logged("Sonmere: output device 'Interface' gone (Interface) — music falls back to its normal "
                     "output; route re-arms when it returns"),
              round);
    EXPECT_STREQ(verdictText(world->engine->health().verdict), "degraded");
    EXPECT_EQ(
        world->engine->health().detail,
        "music [INTENT ONLY — device Interface NOT connected; falls back to normal output, re-adopts on "
        "return]");
    world->host().replug(kInterfaceUID);
    EXPECT_EQ(peaksOn(kInterfaceUID), at(2, 3));
    EXPECT_EQ(logged("Sonmere: output device 'Interface' present again (Interface) — re-routing music"),
              round);
  }
  EXPECT_EQ(world->settings.dictionary("sonmere.perapp.outputDevices"), saved);
  world->host().restartService();
  world->wait(3);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(2, 3)) << "a server that came back";
  world->host().sleep();
  world->wait(5);
  world->host().wake();
  world->wait(2);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(2, 3));
  EXPECT_EQ(world->host().counts().runningUnits, 1u);
}

TEST_F(DeviceOutputTest, ASavedDeviceIsAdoptedWhenItsAppAppearsAndNoneOfTheProgramsOwn) {
  begin();
  const auto restart = [&](const std::string& uid) {
    world->engine.reset();
    world->settings.set("sonmere.perapp.outputDevices", SettingsValue::Dictionary{{"music", uid}});
    world->settings.set("sonmere.perapp.outputChannels",
                        SettingsValue::Dictionary{{"music", SettingsValue::Array{0, 1}}});
    world->startEngine();
    world->settle();
  };
  restart(kInterfaceUID);
  EXPECT_EQ(peaksOn(kInterfaceUID), at(0, 1));
  music.quit();
  world->settle();
  EXPECT_EQ(world->host().counts().units, 0u);
  music = world->launch("music");
  music.play(SampleSources::tone(440, 0.5f));
  EXPECT_EQ(peaksOn(kInterfaceUID), at(0, 1));
  restart("ToneFerry_UID_Track_1");
  EXPECT_EQ(peaksOn("ToneFerry_UID_Track_2"), std::vector<float>(2, 0.5f));
  EXPECT_EQ(peaksOn("ToneFerry_UID_Track_1"), std::vector<float>(2, 0.0f));
}

}  // namespace
}  // namespace sonmere
