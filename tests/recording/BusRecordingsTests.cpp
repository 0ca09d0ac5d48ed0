#include "recording/BusRecordings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "RecordingBench.h"
#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "recording/RecordingFileName.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);
const std::string kStamp = " \u2014 2026-01-01 12-00-00.wav";

// The render side of all buses: a constant at 48 kHz into each ring that it is given.
class TestFeed final : public RecorderFeed {
 public:
  explicit TestFeed(Runtime& runtime)
      : clock_(runtime.startCycles("render", kCycle, [this](Duration at) {
          for (const auto& [bus, ring] : rings)
            if (!starved.contains(bus)) {
              const std::vector<float> block(960, level);
              ring->write(block.data(), 960);
            }
          return at + kCycle;
        })) {}

  void setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring) override {
    if (ring)
      rings[bus] = std::move(ring);
    else
      rings.erase(bus);
  }
  double busSampleRate(int bus) const override { return rates.contains(bus) ? rates.at(bus) : 0; }

  std::map<int, std::shared_ptr<RecorderRing>> rings;
  std::map<int, double> rates;
  std::set<int> starved;
  float level = 0.25f;

 private:
  static constexpr Duration kCycle = fromMilliseconds(10);
  std::unique_ptr<CycleClock> clock_;
};

class BusRecordingsTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void useRealFiles() {
    bench.context.createFile = createAudioFile;
    recordings = std::make_unique<BusRecordings>(bench.context, feed);
  }
  std::string pathOf(int bus) const { return recordings->busRecordingStatuses->at(bus).path; }
  MemoryFile& file(std::size_t i) { return *bench.files.at(i); }
  std::string nameOf(std::size_t i) { return std::filesystem::path(file(i).path()).filename().string(); }

  VirtualRuntime runtime{21};
  RecordingBench bench{runtime};
  TestFeed feed{runtime};
  std::unique_ptr<BusRecordings> recordings = std::make_unique<BusRecordings>(bench.context, feed);
};

TEST_F(BusRecordingsTest, RecordsBusesIntoTheirFilesAndShowsProgress) {
  feed.rates = {{0, 96000}};
  for (const int bus : {-1, 1, 10, 0, 3, 3}) recordings->startRecording(bus);
  ASSERT_EQ(bench.files.size(), 2u);
  EXPECT_EQ(file(0).path(), bench.defaultFolder() + "/Sonmere Recording" + kStamp);
  EXPECT_EQ(nameOf(1), "Sonmere Track 2" + kStamp);
  EXPECT_EQ(file(0).settings.sampleRate, 96000);
  EXPECT_EQ(file(1).settings.sampleRate, 48000);
  EXPECT_TRUE(feed.rings.contains(0) && feed.rings.contains(3));
  EXPECT_EQ(bench.lines[1], "Sonmere: started recording bus 3 → Sonmere Track 2" + kStamp);
  EXPECT_EQ(recordings->busRecordingStatuses->at(3).framesWritten, 0);

  runtime.advance(2 * kSecond);
  bench.settings.set(kRecordingBitDepthKey, "float32");
  runtime.advance(2 * kSecond);
  const auto& status = recordings->busRecordingStatuses->at(3);
  EXPECT_NEAR(double(status.framesWritten), 4 * 48000, 2 * 480);
  EXPECT_GT(status.bytesWritten, 4 * status.framesWritten);
  EXPECT_EQ(status.path, file(1).path());

  std::optional<std::string> stopped;
  recordings->stopRecording(3, [&](auto path) { stopped = path; });
  EXPECT_FALSE(feed.rings.contains(3)) << "the render stops feeding before the recorder stops";
  EXPECT_FALSE(recordings->busRecordingStatuses->contains(3));
  recordings->startRecording(3);  // at once, within another second of the clock
  runtime.advance(kSecond);
  EXPECT_EQ(stopped, file(1).path());
  EXPECT_TRUE(file(1).isClosed());
  EXPECT_FALSE(file(2).isClosed());
  EXPECT_TRUE(bench.logged("Sonmere: stopped recording bus 3 → Sonmere Track 2" + kStamp));

  std::optional<std::optional<std::string>> none;
  recordings->stopRecording(7, [&](auto path) { none = path; });
  runtime.settle();
  EXPECT_TRUE(none && !*none);
}

TEST_F(BusRecordingsTest, EachActIsASessionOfItsOwn) {
  useRealFiles();
  const auto stampOf = [&](int bus) {
    const std::string name = std::filesystem::path(pathOf(bus)).filename().string();
    return std::string(parseRecordingName(name)->stamp);
  };
  const int several[] = {0, 2, 3, 3, 1};
  recordings->startRecordings(several);
  EXPECT_EQ(recordings->busRecordingStatuses->size(), 3u);
  EXPECT_EQ(stampOf(0), "2026-01-01 12-00-00");
  EXPECT_EQ(stampOf(2), stampOf(0));
  EXPECT_EQ(stampOf(3), stampOf(0));
  recordings->startRecording(4);  // within the same second, which has its session
  EXPECT_EQ(stampOf(4), "2026-01-01 12-00-01");
  recordings->stopRecording(2);
  recordings->startRecording(2);
  EXPECT_EQ(stampOf(2), "2026-01-01 12-00-02");
  runtime.advance(kSecond);
  const int last[] = {5, 6};
  recordings->startRecordings(last);  // at 12-00-01
  EXPECT_EQ(stampOf(5), "2026-01-01 12-00-03");
  EXPECT_EQ(stampOf(6), stampOf(5));
}

TEST_F(BusRecordingsTest, AnActThatFailsHalfwayLeavesNothing) {
  useRealFiles();
  feed.rates = {{3, 192000}};  // which AAC doesn't know
  const int buses[] = {2, 3};
  recordings->startRecordings(buses, {RecordingFormat::m4a});
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_TRUE(recordings->errorMessage->starts_with("Couldn't start recording: "));
  EXPECT_TRUE(std::filesystem::is_empty(bench.defaultFolder()));
}

TEST_F(BusRecordingsTest, AFileThatIsMovedIsFollowedAndOneThatIsGoneIsSucceeded) {
  namespace fs = std::filesystem;
  for (const RecordingFormat format : {RecordingFormat::wav, RecordingFormat::m4a})
    for (const bool isQueued : {false, true}) {
      SCOPED_TRACE(std::string(name(format)) + (isQueued ? " queued" : ""));
      useRealFiles();
      const std::string folder = isQueued ? bench.otherFolder() : bench.defaultFolder();
      bench.settings.set(RecordingsFolder::kPathKey, folder);
      const int buses[] = {2, 3};
      recordings->startRecordings(buses, {format});
      runtime.advance(2 * kSecond);
      const std::string first = pathOf(2), kept = pathOf(3);
      const std::string moved = (bench.folder / "moved").string();
      fs::rename(first, moved);
      runtime.advance(2 * kSecond);
      EXPECT_EQ(pathOf(2), moved);
      EXPECT_TRUE(recordings->fileNotice.get()->ends_with("The recording goes on in " + moved + "."));

      fs::remove(moved);
      runtime.advance(2 * kSecond);
      ASSERT_TRUE(recordings->isRecording(2));
      const std::string second = pathOf(2);
      EXPECT_NE(second, moved);
      EXPECT_TRUE(second.starts_with(folder));
      EXPECT_TRUE(recordings->fileNotice.get()->contains(fs::path(second).filename().string()));
      EXPECT_EQ(pathOf(3), kept) << "the other bus is not concerned";
      fs::remove_all(folder);
      runtime.advance(2 * kSecond);
      std::vector<std::string> paths;
      recordings->stopAllRecordings([&](auto all) { paths = all; });
      runtime.advance(kSecond);
      ASSERT_EQ(paths.size(), 2u) << "into a folder that was made again";
      for (const std::string& path : paths) EXPECT_GT((*openAudioFile(path))->frameCount(), 24000);

      recordings->startRecording(2);
      fs::remove(pathOf(2));
      std::optional<std::string> stopped = "not told";
      recordings->stopRecording(2, [&](auto path) { stopped = path; });
      runtime.advance(kSecond);
      EXPECT_FALSE(stopped) << "a stop names no path that isn't there";
    }
}

TEST_F(BusRecordingsTest, DefaultFormatIsKeptInTheSettings) {
  bench.settings.set("recording.format", std::string("m4a"));
  recordings = std::make_unique<BusRecordings>(bench.context, feed);
  recordings->startRecording(2);
  EXPECT_EQ(file(0).settings.encoding, AudioFileSettings::Encoding::aac);
  EXPECT_EQ(std::filesystem::path(file(0).path()).extension(), ".m4a");

  recordings->setDefaultRecordingFormat(RecordingFormat::wav);
  EXPECT_EQ(bench.settings.string("recording.format"), "wav");
  recordings->startRecording(3);
  EXPECT_EQ(std::filesystem::path(file(1).path()).extension(), ".wav");
  recordings->startRecording(4, {RecordingFormat::m4a});
  EXPECT_EQ(std::filesystem::path(file(2).path()).extension(), ".m4a");
}

TEST_F(BusRecordingsTest, FailedStartLeavesAMessageAndNothingElse) {
  bench.createError = Error{"audio", 1, "can't write aac"};
  recordings->startRecording(2, {RecordingFormat::m4a});
  EXPECT_EQ(*recordings->errorMessage, "Couldn't start recording: can't write aac");
  EXPECT_EQ(bench.lines, std::vector<std::string>{"Sonmere: BusRecorder init failed: can't write aac"});
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_TRUE(feed.rings.empty() && recordings->busRecordingStatuses->empty());

  std::filesystem::remove_all(bench.defaultFolder());
  std::ofstream(bench.defaultFolder()) << "in the way";
  recordings->startRecording(2);
  EXPECT_TRUE(recordings->errorMessage->starts_with("Couldn't start recording: The recordings folder " +
                                                    bench.defaultFolder() + " can't be used"));
}

TEST_F(BusRecordingsTest, WriteFailureStopsAllOnceAndKeepsWhatIsThere) {
  bench.settings.set(RecordingsFolder::kPathKey, bench.otherFolder());
  for (const int bus : {0, 2, 3}) recordings->startRecording(bus);
  std::vector<std::string> messages;
  const auto subscription =
      recordings->errorMessage.observe([&](const std::string& text) { messages.push_back(text); });
  runtime.advance(3 * kSecond);
  file(1).beforeWrite = [&](int) { file(1).nextError = kDiskFull; };
  file(2).beforeWrite = [&](int) { file(2).nextError = kDiskFull; };
  runtime.advance(10 * kSecond);
  EXPECT_EQ(messages,
            std::vector<std::string>{"Recording stopped: your disk is full. The files recorded so far were "
                                     "saved — free up space and record again."});
  EXPECT_TRUE(
      bench.logged("Sonmere: recording auto-stopped — your disk is full. The files recorded so far were "
                   "saved — free up space and record again."));
  EXPECT_FALSE(recordings->isAnyRecording() || recordings->isAnyStopping());
  EXPECT_TRUE(feed.rings.empty());
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(file(i).isClosed());
    EXPECT_GT(file(i).frames(), 2 * 48000);
  }
  EXPECT_GE(bench.context.health->failures().size(), 2u);

  // The guard is open again: a later failure is handled like the first.
  recordings->handleRecordingFailure("again");
  EXPECT_EQ(messages.back(), "Recording stopped: again");
}

TEST_F(BusRecordingsTest, StarvedBusIsAStallAndEndsAll) {
  recordings->startRecording(0);
  recordings->startRecording(2);
  runtime.advance(2 * kSecond);
  feed.starved = {2};
  runtime.advance(15 * kSecond);
  EXPECT_TRUE(recordings->isAnyRecording());
  runtime.advance(2 * kSecond);
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_EQ(*recordings->errorMessage,
            "Recording stopped: \"Sonmere Track 1" + kStamp +
                "\" stopped receiving audio (device disconnected, source app quit, "
                "or the system slept). Files were saved up to the stall.");
  EXPECT_TRUE(file(0).isClosed() && file(1).isClosed());
}

TEST_F(BusRecordingsTest, SilenceIsToldOnceAndForgottenAtTheEnd) {
  feed.level = 0;
  int notices = 0;
  const auto subscription = recordings->silentRecordingNotice.observe(
      [&](const std::optional<std::string>& notice) { notices += notice.has_value(); });
  recordings->startRecording(0);
  runtime.advance(10 * kSecond);
  EXPECT_FALSE(recordings->silentRecordingNotice.get());
  runtime.advance(30 * kSecond);
  EXPECT_EQ(notices, 1);
  EXPECT_TRUE(recordings->silentRecordingNotice.get()->ends_with(
      " s). Nothing is reaching it. Check that System Audio Passthrough is on if you are recording apps, and "
      "that "
      "Input Device is a physical input (a microphone or audio interface), not a virtual device. The "
      "recording "
      "keeps running."));
  EXPECT_TRUE(
      bench.logged("Sonmere: silent recording — Sonmere Recording" + kStamp + " (10 s, no signal yet)"));
  EXPECT_TRUE(recordings->isAnyRecording());
  recordings->stopRecording(0);
  EXPECT_FALSE(recordings->silentRecordingNotice.get());
  runtime.advance(kSecond);
  recordings->startRecording(0);
  runtime.advance(11 * kSecond);
  EXPECT_EQ(notices, 2);
}

TEST_F(BusRecordingsTest, WhatFilesLackIsToldUntilTheNextStart) {
  for (const int bus : {2, 3}) recordings->startRecording(bus);
  runtime.advance(2 * kSecond);
  EXPECT_FALSE(recordings->lossNotice.get());
  feed.rings.at(3)->noteMissed(24000);
  runtime.advance(kSecond);
  EXPECT_EQ(recordings->lossNotice.get(), "\"" + nameOf(1) +
                                              "\" lacks 0.50 s: the audio server left out cycles, or the "
                                              "drive was too slow.");
  feed.rings.at(2)->noteMissed(4800);
  runtime.advance(kSecond);
  EXPECT_TRUE(recordings->lossNotice.get()->starts_with("\"" + nameOf(0) + "\" lacks 0.10 s, \"" + nameOf(1) +
                                                        "\" lacks 0.50 s: "));
  recordings->stopAllRecordings();
  runtime.advance(kSecond);
  EXPECT_TRUE(recordings->lossNotice.get());
  recordings->startRecording(2);
  EXPECT_FALSE(recordings->lossNotice.get());
}

TEST_F(BusRecordingsTest, QuitWaitsForAllStopsButNotLongerThanItsDeadline) {
  bench.settings.set(RecordingsFolder::kPathKey, bench.otherFolder());
  for (const int bus : {0, 2}) recordings->startRecording(bus);
  file(1).beforeWrite = [&](int n) {
    if (n == 10) runtime.blockFor(60 * kSecond);
  };
  const Duration quitAt = 3 * kSecond;
  std::optional<Duration> over;
  bench.at(2 * kSecond, [&] { recordings->stopRecording(2); });  // already under way when the quit comes
  bench.at(quitAt, [&] {
    bench.context.flushDeadline->set(quitAt + FlushDeadline::kQuitTime);
    recordings->stopAllRecordings([&](const std::vector<std::string>& paths) {
      EXPECT_EQ(paths, std::vector<std::string>{file(0).path()});
      EXPECT_TRUE(file(0).isClosed());
      EXPECT_FALSE(file(1).isClosed());
      over = runtime.uptime();
    });
  });
  runtime.advance(70 * kSecond);
  ASSERT_TRUE(over);
  EXPECT_GE(*over, quitAt + FlushDeadline::kQuitTime);
  EXPECT_LE(*over, quitAt + FlushDeadline::kQuitTime + FlushDeadline::kShortestWait);
  EXPECT_TRUE(file(1).isClosed()) << "writing went on in the background";
}

TEST_F(BusRecordingsTest, GoingAwayLetsGoOfTheRenderAndOfStopsUnderWay) {
  recordings->startRecording(0);
  recordings->startRecording(2);
  runtime.advance(kSecond);
  recordings->stopRecording(2, [](auto) { FAIL() << "nobody is there to be told"; });
  recordings->stopAllRecordings([](auto) { FAIL(); });
  recordings->startRecording(3);
  recordings.reset();
  EXPECT_TRUE(feed.rings.empty());
  bench.context.health->noteWriterFailure("BusRecorder", "/r/a.wav", kDiskFull, 0);
  runtime.advance(20 * kSecond);
  EXPECT_TRUE(file(0).isClosed() && file(1).isClosed());
}

TEST(RecordingWatch, StallAndSilenceBeginJustPastTheirLimits) {
  RecordingWatch watch;
  const auto stalled = [&](std::int64_t frames, double now) {
    const RecordingWatch::Active active[] = {{"ok.wav", std::int64_t(now * 1e3), 48000, true},
                                             {"a.wav", frames, 48000, true}};
    return watch.stalledFile(active, fromSeconds(now));
  };
  EXPECT_FALSE(stalled(100, 1));
  EXPECT_FALSE(stalled(200, 2));
  EXPECT_FALSE(stalled(200, 16.9));
  EXPECT_FALSE(stalled(200, 17));
  EXPECT_EQ(stalled(200, 17.1), "a.wav");
  EXPECT_FALSE(stalled(200, 17.6)) << "a stall is told once, then counted anew";
  EXPECT_FALSE(watch.stalledFile({}, fromSeconds(18)));
  EXPECT_FALSE(stalled(200, 40)) << "a file that was away is new";

  const auto silent = [&](std::int64_t frames, double rate) {
    const RecordingWatch::Active active[] = {{"s.wav", frames, rate, false}};
    return watch.newlySilent(active).has_value();
  };
  EXPECT_FALSE(silent(480000, 0));
  EXPECT_FALSE(silent(960000, 96000));
  EXPECT_TRUE(silent(480001, 0));
  EXPECT_FALSE(silent(900000, 0));
}

}  // namespace
}  // namespace sonmere
