#include "EditorWorld.h"
#include "platform/simulated/Operation.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr auto kWAV = ExportFormat{};

// Frames [from, until) of the signal as heard.
std::vector<float> piece(std::int64_t from, std::int64_t until, std::int64_t total = 480000) {
  const auto all = EditorWorld::signal(total);
  return {all.begin() + 2 * from, all.begin() + 2 * until};
}

struct EditorPlayback : testing::Test, EditorWorld {
  std::shared_ptr<DeviceRecorder> ear = host().hear(SimulatedHost::kSpeakersUID);
  std::shared_ptr<EditorEngine> openTone(std::int64_t frames = 480000) {
    return open(makeFile("take.wav", frames));
  }
};

TEST_F(EditorPlayback, WhatIsHeardIsWhatIsSavedToTheSample) {
  const auto engine = openTone(144000);
  engine->setTrimStart(10007);
  engine->setTrimEnd(120001);
  engine->setFadeIn(3001);
  engine->setFadeOut(20011);
  engine->setGainDecibels(-3);
  const RealtimeGuard guard;
  engine->play();
  wait(4);
  EXPECT_REALTIME_SAFE(guard);
  EXPECT_FALSE(*engine->isPlaying());
  EXPECT_EQ(*engine->playheadFrame(), 120001);
  const std::string path = (folder / "saved.wav").string();
  ASSERT_TRUE(engine->saveTrimmed(path, kWAV));
  wait(1);
  EXPECT_FALSE(*engine->isSaving());
  EXPECT_FALSE(*engine->saveError) << **engine->saveError;
  const auto saved = contentOf(path);
  EXPECT_EQ(saved.size(), 2u * (120001 - 10007));
  // The first sample of a fade-in is silent and so not among what sounds.
  EXPECT_EQ(firstDifference(sounding(ear->samples()), {saved.begin() + 2, saved.end()}), -1);
}

TEST_F(EditorPlayback, PauseAndSeekKeepTheirPlaces) {
  const auto engine = openTone();
  engine->seek(100000);
  engine->play();
  wait(1);
  engine->pause();
  const std::int64_t paused = *engine->playheadFrame();
  EXPECT_NEAR(double(paused), 148000, 1500);
  EXPECT_EQ(engine->transport().pausedAtFrame(), paused);
  wait(1);
  EXPECT_EQ(*engine->playheadFrame(), paused);
  const auto heard = sounding(ear->samples());
  EXPECT_EQ(firstDifference(heard, piece(100000, 100000 + std::int64_t(heard.size()) / 2)), -1);

  const auto before = ear->frameCount();
  engine->seek(470000);
  engine->play();
  wait(1);
  EXPECT_EQ(firstDifference(sounding(ear->samplesFrom(before)), piece(470000, 480000)), -1);
  EXPECT_FALSE(*engine->isPlaying());
  // At the end the next play begins at the start.
  engine->play();
  wait(0.5);
  EXPECT_NEAR(double(*engine->playheadFrame()), 24000, 1500);
}

TEST_F(EditorPlayback, ASeekWhilePlayingReplacesTheBufferAndItsCompletionDoesNothing) {
  const auto engine = openTone();
  engine->seek(470000);
  engine->play();
  wait(0.15);
  const std::string token = engine->transport().playbackToken();
  // The first buffer would end 60 ms from now.
  engine->seek(0);
  EXPECT_NE(engine->transport().playbackToken(), token);
  wait(1);
  EXPECT_TRUE(*engine->isPlaying());
  EXPECT_NEAR(double(*engine->playheadFrame()), 48000, 1500);
}

TEST_F(EditorPlayback, ALoopGoesOnAtItsStartWithoutAGap) {
  const auto engine = openTone();
  engine->setTrimStart(1000);
  engine->setTrimEnd(11000);
  engine->setLoop(true);
  engine->play();
  wait(1.0);
  EXPECT_TRUE(*engine->isPlaying());
  EXPECT_GE(*engine->playheadFrame(), 1000);
  EXPECT_LT(*engine->playheadFrame(), 11000);
  const auto once = piece(1000, 11000);
  auto heard = sounding(ear->samples());
  for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], once[i % once.size()]) << i;
  EXPECT_GT(heard.size(), 4 * once.size());
  // Turned off, it plays to its end once more.
  engine->setLoop(false);
  wait(1);
  EXPECT_FALSE(*engine->isPlaying());
  heard = sounding(ear->samples());
  EXPECT_EQ(heard.size() % once.size(), 0u);
}

TEST_F(EditorPlayback, AnEditWhilePlayingTakesOverWithoutAGap) {
  const auto engine = openTone();
  engine->play();
  wait(0.5);
  engine->setGainLinear(0.5, SettingForm::live);
  wait(0.02);
  engine->setGainLinear(0.25);
  wait(1);
  engine->pause();
  const auto heard = sounding(ear->samples());
  const auto signal = piece(0, 480000);
  std::size_t changed = heard.size();
  for (std::size_t i = 0; i < heard.size(); ++i) {
    if (changed == heard.size() && heard[i] != signal[i]) changed = i;
    ASSERT_EQ(heard[i], signal[i] * (i < changed ? 1.0f : 0.25f)) << i;
  }
  EXPECT_GT(changed, 2u * 24000);
  EXPECT_LT(changed, 2u * 32000);
}

TEST_F(EditorPlayback, ATrimThatLeavesThePlayheadOutsideGoesOnAtTheStart) {
  const auto engine = openTone();
  engine->play();
  wait(0.5);
  engine->setTrimStart(200000);
  wait(0.5);
  EXPECT_TRUE(*engine->isPlaying());
  EXPECT_GT(*engine->playheadFrame(), 200000);
}

TEST_F(EditorPlayback, EditsNearTheEndNeitherStartAnewNorCutOff) {
  const auto engine = openTone(24000);
  int cut = 0, goneOn = 0;
  for (int milliseconds = 400; milliseconds < 540; milliseconds += 3) {
    SCOPED_TRACE(milliseconds);
    engine->setTrimEnd(24000);
    engine->seek(0);
    engine->play();
    wait(milliseconds / 1000.0);
    if (!*engine->isPlaying()) break;
    engine->setGainLinear(milliseconds % 2 ? 0.5 : 0.25);
    wait(0.3);
    EXPECT_FALSE(*engine->isPlaying());
    EXPECT_EQ(*engine->playheadFrame(), 24000);
    ++cut;

    engine->setTrimEnd(12000);
    engine->seek(0);
    engine->play();
    wait(milliseconds / 1000.0 - 0.25);
    if (!*engine->isPlaying()) break;
    engine->setTrimEnd(24000);
    wait(0.6 - milliseconds / 1000.0);
    EXPECT_TRUE(*engine->isPlaying());
    EXPECT_GT(*engine->playheadFrame(), 12000);
    wait(0.5);
    ++goneOn;
  }
  EXPECT_GT(cut, 25);
  EXPECT_GT(goneOn, 25);
}

TEST_F(EditorPlayback, ALoopThatIsNoWholeNumberOfFramesDoesNotDrift) {
  const MixTrackInput input{makeFile("loop.wav", 6000, 44100, 1), TrimRange::whole(6000, 44100)};
  constexpr double kFrames = 4415.5125;
  TrackPlaybackReader::Span span{100, 4416, true};
  span.loopFrames = kFrames;
  auto reader = TrackPlaybackReader::open(input, span);
  ASSERT_TRUE(reader) << reader.error().description;
  std::vector<float> heard(std::size_t(100 * kFrames));
  ASSERT_EQ((*reader)->read(heard.data(), std::uint32_t(heard.size())).value_or(0), heard.size());
  const auto signal = EditorWorld::signal(6000, 1);
  EXPECT_EQ(heard[0], signal[100]);
  for (int pass = 1; pass < 100; ++pass) {
    const auto at = std::size_t(std::llround(pass * kFrames) - 100);
    ASSERT_EQ(heard[at], signal[0]) << pass;
    ASSERT_EQ(heard[at + 4000], signal[4000]) << pass;
  }
}

TEST_F(EditorPlayback, AnOutputThatGoesIsReplacedByTheNextOrPausesThePlaying) {
  const auto engine = openTone();
  const auto other = host().hear(SimulatedHost::kHeadsetUID);
  engine->play();
  wait(1);
  host().unplug(SimulatedHost::kSpeakersUID);
  wait(1);
  EXPECT_TRUE(*engine->isPlaying());
  const auto heard = sounding(other->samples());
  ASSERT_FALSE(heard.empty());
  EXPECT_NEAR(double(*engine->playheadFrame()), 96000, 2000);
  host().unplug(SimulatedHost::kHeadsetUID);
  wait(0.5);
  EXPECT_FALSE(*engine->isPlaying());
  EXPECT_TRUE(logged("EditorEngine: play failed: there is no output device"));
  const std::int64_t place = *engine->playheadFrame();
  EXPECT_EQ(engine->transport().pausedAtFrame(), place);
  host().replug(SimulatedHost::kSpeakersUID);
  host().setDefault(DefaultDevice::output, SimulatedHost::kSpeakersUID);
  engine->play();
  wait(0.5);
  EXPECT_NEAR(double(*engine->playheadFrame()), double(place) + 24000, 1500);
}

TEST_F(EditorPlayback, ARestartOfTheServerIsPlayedThrough) {
  const auto engine = openTone();
  engine->play();
  wait(1);
  host().restartService(fromSeconds(0.5));
  wait(2);
  EXPECT_TRUE(*engine->isPlaying());
  EXPECT_EQ(host().counts().runningUnits, 1u);
}

TEST_F(EditorPlayback, AnOutputThatWasGivenBackIsNotFollowedAndANewOneIs) {
  const auto engine = openTone();
  engine->play();
  wait(1);
  host().sleep();
  wait(0.5);
  engine->pause();
  wait(2);
  EXPECT_TRUE(context.routes.health().empty()) << "nothing is followed for an output that was given back";
  host().wake();
  engine->play();
  wait(1);
  ASSERT_EQ(context.routes.health().size(), 1u);
  EXPECT_EQ(context.routes.health()[0].verdict, RouteHealthVerdict::healthy);
  const auto other = host().hear(SimulatedHost::kHeadsetUID);
  host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  wait(1);
  EXPECT_TRUE(*engine->isPlaying());
  EXPECT_FALSE(sounding(other->samples()).empty());
}

TEST_F(EditorPlayback, EveryStepOfTheOutputCanFailAndNothingStays) {
  const auto engine = openTone();
  for (const Operation operation :
       {Operation::newOutputUnit, Operation::unitSetCurrentDevice, Operation::unitSetStreamFormat,
        Operation::unitSetRenderCallback, Operation::unitInitialize, Operation::unitStart}) {
    lines.clear();
    host().faults().failNth(operation, 1, -50);
    engine->play();
    wait(0.2);
    EXPECT_FALSE(*engine->isPlaying());
    EXPECT_EQ(countLogged("EditorEngine: play failed: "), 1);
    EXPECT_TRUE(logged("(-50)"));
    EXPECT_EQ(host().counts().units, 0u);
  }
  engine->play();
  wait(0.2);
  EXPECT_TRUE(*engine->isPlaying());
  engine->close();
  wait(2);
  EXPECT_EQ(host().counts().units, 0u) << "an idle editor holds no output";
  EXPECT_EQ(host().counts().listeners, 0u);
}

TEST_F(EditorPlayback, AnotherRateAndAMonoFileComeOutInTimeOnBothSides) {
  const auto engine = open(makeFile("mono.wav", 44100, 44100, 1));
  engine->play();
  wait(2);
  const auto heard = sounding(ear->samples());
  EXPECT_NEAR(double(heard.size()) / 2, 48000, 100);
  for (std::size_t i = 0; i < heard.size(); i += 2) ASSERT_EQ(heard[i], heard[i + 1]);
  EXPECT_FALSE(logged("came too late"));
}

TEST_F(EditorPlayback, AFileThatGoesAwayEndsThePlayingWithAReason) {
  const auto engine = openTone();
  std::filesystem::remove(engine->url());
  engine->play();
  wait(0.5);
  EXPECT_FALSE(*engine->isPlaying());
  EXPECT_TRUE(logged("EditorEngine: play failed: " + engine->url() + ": no such file"));
}

}  // namespace
}  // namespace sonmere
