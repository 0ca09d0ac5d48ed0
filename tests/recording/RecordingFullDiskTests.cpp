#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "RecordingBench.h"
#include "audio/file/AudioFileReader.h"
#include "audio/file/WavHeader.h"
#include "base/VirtualRuntime.h"
#include "recording/BusRecordings.h"
#include "recording/library/MP4Duration.h"
#include "recording/library/RecordingScanner.h"
#include "support/SizeLimit.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kBlockFrames = 480;
// What may be missing at the end of an M4A: what had not become a fragment, and the delays on the way.
constexpr std::int64_t kMostMissingFrames = 14400;

// A whole run takes 200 places; a few are enough to see that nothing was broken.
int cutPoints() {
  const char* count = std::getenv("SONMERE_CUT_POINTS");
  return count ? std::max(2, std::atoi(count)) : 12;
}

float numbered(std::int64_t frame) { return float(frame % 32768) / 32768; }

// The render side of one bus at 48 kHz; counts what it delivered.
class NumberedFeed final : public RecorderFeed {
 public:
  explicit NumberedFeed(Runtime& runtime)
      : clock_(runtime.startCycles("render", kCycle, [this](Duration at) {
          if (ring_) deliver();
          return at + kCycle;
        })) {}

  void setRecorderRing(int, std::shared_ptr<RecorderRing> ring) override { ring_ = std::move(ring); }
  double busSampleRate(int) const override { return 48000; }
  std::int64_t frames() const { return frames_; }

 private:
  static constexpr Duration kCycle = fromMilliseconds(10);
  void deliver() {
    std::vector<float> block;
    for (std::int64_t i = 0; i < kBlockFrames; ++i) block.insert(block.end(), 2, numbered(frames_ + i));
    ring_->write(block.data(), 2 * kBlockFrames);
    frames_ += kBlockFrames;
  }

  std::shared_ptr<RecorderRing> ring_;
  std::int64_t frames_ = 0;
  std::unique_ptr<CycleClock> clock_;
};

// The left channel.
std::vector<float> samplesIn(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (!reader) {
    EXPECT_EQ(reader.error().description, path + ": has no audio");
    return {};
  }
  std::vector<float> left, block(2 * 4096);
  for (;;) {
    const auto count = (*reader)->read(block.data(), 4096);
    EXPECT_TRUE(count) << count.error().description;
    if (!count || *count == 0) return left;
    for (std::uint32_t i = 0; i < *count; ++i) left.push_back(block[2 * i]);
  }
}

// As another program decodes them. What it finds wrong would be counted too.
std::int64_t framesByFFmpeg(const std::string& path) {
  std::FILE* pipe = ::popen(("ffmpeg -v error -i '" + path + "' -f s16le - 2>&1 | wc -c").c_str(), "r");
  long bytes = -1;
  EXPECT_EQ(std::fscanf(pipe, "%ld", &bytes), 1);
  ::pclose(pipe);
  EXPECT_EQ(bytes % 4, 0);
  return bytes / 4;
}

// Written into the recordings folder itself, or through the queue for another one.
class RecordingFullDisk : public testing::TestWithParam<std::tuple<RecordingFormat, bool>> {
 protected:
  RecordingFormat format() const { return std::get<0>(GetParam()); }

  // Records until there is no more room. The path, or none when there was not even room to begin.
  std::optional<std::string> recordInto(RecordingBench& bench, VirtualRuntime& runtime, NumberedFeed& feed,
                                        std::uint64_t room) {
    bench.context.createFile = createAudioFile;
    if (std::get<1>(GetParam())) bench.settings.set(RecordingsFolder::kPathKey, bench.otherFolder());
    BusRecordings recordings(bench.context, feed);
    std::vector<std::string> messages;
    const auto told =
        recordings.errorMessage.observe([&](const std::string& text) { messages.push_back(text); });
    std::string path;
    {
      const SizeLimit limit(room);
      recordings.startRecording(0, {format()});
      if (recordings.isAnyRecording()) path = recordings.busRecordingStatuses->at(0).path;
      runtime.advance(std::chrono::seconds(2));
      EXPECT_FALSE(recordings.isAnyRecording() || recordings.isAnyStopping());
    }
    EXPECT_EQ(messages.size(), 1u) << "it ends once";
    const std::string begin = path.empty() ? "Couldn't start recording: " : "Recording stopped: writing \"";
    EXPECT_TRUE(!messages.empty() && messages[0].starts_with(begin)) << testing::PrintToString(messages);
    return path.empty() ? std::nullopt : std::optional(path);
  }

  void check(const std::string& path, std::uint64_t room, std::int64_t delivered) {
    const auto samples = samplesIn(path);
    const auto frames = std::int64_t(samples.size());
    if (format() == RecordingFormat::wav) {
      EXPECT_EQ(frames, std::int64_t(room - kBroadcastHeaderBytes) / 4);
      EXPECT_EQ(framesByFFmpeg(path), frames);
      for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], numbered(std::int64_t(i)));
      return;
    }
    EXPECT_GE(frames, delivered - kMostMissingFrames);
    if (frames == 0) return;
    const std::int64_t byOthers = framesByFFmpeg(path);
    EXPECT_TRUE(byOthers >= frames && byOthers <= frames + 2048) << byOthers << " of " << frames;
    Log log;
    const auto scan = RecordingScanner(log).scan(fs::path(path).parent_path(), VirtualRuntime::kDefaultStart);
    ASSERT_EQ(scan.sessions.size(), 1u);
    EXPECT_NEAR(scan.sessions[0].files[0].durationSeconds * 48000, double(frames), 1024);
  }
};

TEST_P(RecordingFullDisk, EndsOnceWhereverAndLeavesWholeFramesThatOpen) {
  const std::uint64_t most = format() == RecordingFormat::wav ? 200'000 : 30'000;
  for (int cut = 0; cut < cutPoints(); ++cut) {
    // Not a multiple of anything in the file.
    const std::uint64_t room =
        most * std::uint64_t(cut) / std::uint64_t(cutPoints()) + std::uint64_t(cut) % 7;
    SCOPED_TRACE(testing::Message() << room << " bytes");
    VirtualRuntime runtime{1};
    RecordingBench bench{runtime};
    NumberedFeed feed{runtime};
    const auto path = recordInto(bench, runtime, feed, room);
    if (path) {
      check(*path, room, feed.frames());
    } else {
      const std::string folder = std::get<1>(GetParam()) ? bench.otherFolder() : bench.defaultFolder();
      EXPECT_TRUE(fs::is_empty(folder)) << "nothing begun is left";
      EXPECT_LT(room, format() == RecordingFormat::wav ? kBroadcastHeaderBytes : 1000u);
    }
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, RecordingFullDisk,
                         testing::Combine(testing::Values(RecordingFormat::wav, RecordingFormat::m4a),
                                          testing::Bool()),
                         [](const auto& files) {
                           return std::string(name(std::get<0>(files.param))) +
                                  (std::get<1>(files.param) ? "Queued" : "Direct");
                         });

}  // namespace
}  // namespace sonmere
