#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>

#include "audio/file/AudioFileReader.h"
#include "base/LiveRuntime.h"
#include "recording/BusRecorder.h"
#include "recording/MicSideRecorder.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr std::int64_t kBlockFrames = 480;
constexpr std::int64_t kMarkedFrame = 4800;
constexpr Duration kBlockTime = fromMilliseconds(10);
// A machine that is too busy to drain holds the sound up, so that what is measured is the recorder.
constexpr std::int64_t kMostWaitingFrames = 4 * kBlockFrames;

// What a process that is to be killed tells the one that kills it.
struct Told {
  std::atomic<std::int64_t> framesDelivered;
};

float numbered(std::int64_t frame) { return float(frame % 32768) / 32768; }

// Records from a render in real time until it is killed. A byte goes into `pipe` at `signalFrame`.
class Victim {
 public:
  Victim(Told& told, int pipe, std::int64_t signalFrame) : told_(told), pipe_(pipe), signal_(signalFrame) {}

  [[noreturn]] void record(RecordingFormat format, const std::string& folder) {
    context_.settings.set(kRecordingBitDepthKey, std::string("int16"));
    // As a session has them.
    const auto master = BusRecorder::create(context_, {0, format, 48000, "Sonmere Master", folder});
    const auto mic = MicSideRecorder::create(context_, {"Sonmere Mic", {}, 48000, 48000, 1, folder});
    const auto apps = BusRecorder::create(context_, {2, RecordingFormat::wav, 48000, "Sonmere Apps", folder});
    if (!master || !mic || !apps) _exit(1);
    recorders_ = {*master, *mic, *apps};
    for (const auto& recorder : recorders_) recorder->mark(kMarkedFrame, "to be kept");
    const auto clock =
        runtime_.startCycles("render", runtime_.uptime(), [this](Duration at) { return render(at); });
    runtime_.run();
    _exit(2);
  }

 private:
  Duration render(Duration at) {
    for (const auto& recorder : recorders_)
      if (recorder->framesWaiting() >= kMostWaitingFrames) return runtime_.uptime() + kBlockTime;
    for (std::int64_t i = 0; i < kBlockFrames; ++i)
      block_[std::size_t(2 * i)] = block_[std::size_t(2 * i + 1)] = numbered(frames_ + i);
    for (const auto& recorder : recorders_) recorder->ring()->writeStereo(block_.data(), kBlockFrames);
    frames_ += kBlockFrames;
    told_.framesDelivered = frames_;
    if (frames_ == signal_ && write(pipe_, "x", 1) != 1) _exit(3);
    return at + kBlockTime;
  }

  Told& told_;
  const int pipe_;
  const std::int64_t signal_;
  LiveRuntime runtime_;
  Log log_;
  MemorySettingsStore settings_;
  NotificationCenter notifications_;
  RecordingContext context_{runtime_,
                            log_,
                            settings_,
                            notifications_,
                            {"/nowhere", "/nowhere"},
                            RecordingHealth::create(runtime_, log_, notifications_, "/nowhere"),
                            std::make_shared<FlushDeadline>()};
  std::vector<std::shared_ptr<RingRecorder>> recorders_;
  std::vector<float> block_ = std::vector<float>(2 * kBlockFrames);
  std::int64_t frames_ = 0;
};

class RecordingKillTest : public testing::TestWithParam<RecordingFormat> {
 protected:
  RecordingKillTest() {
    void* page = ::mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    told_ = new (page) Told{};
  }
  ~RecordingKillTest() override { ::munmap(told_, sizeof(Told)); }

  // Returns the frames that had been delivered by then.
  std::int64_t recordAndKill(const std::string& folder, std::int64_t afterFrames) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    told_->framesDelivered = 0;
    const pid_t child = ::fork();
    if (child == 0) Victim(*told_, ends[1], afterFrames).record(GetParam(), folder);
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1) << "the recording ended by itself";
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(ends[0]);
    EXPECT_TRUE(WIFSIGNALED(status));
    return told_->framesDelivered;
  }

  Told* told_;
};

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    files.push_back(entry.path().string());
  EXPECT_EQ(files.size(), 3u);
  return files;
}

std::vector<float> leftSamples(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (!reader) {
    ADD_FAILURE() << reader.error().description;
    return {};
  }
  std::vector<float> all, block(2 * 4096);
  const std::size_t channels = (*reader)->format().channels;
  for (;;) {
    const auto count = (*reader)->read(block.data(), 4096);
    if (!count || *count == 0) return all;
    for (std::uint32_t i = 0; i < *count; ++i) all.push_back(block[channels * i]);
  }
}

std::vector<AudioFileMark> marksIn(const std::string& path) {
  const auto reader = openAudioFile(path);
  return reader ? (*reader)->details().marks : std::vector<AudioFileMark>();
}

int numberOfKills() {
  const char* asked = std::getenv("SONMERE_KILLS");
  return asked ? std::max(1, std::atoi(asked)) : 3;
}

// SONMERE_KILLS=100 for more of them; prints the worst.
TEST_P(RecordingKillTest, LosesAMomentAtMostAndCanBeReadAtOnce) {
  std::minstd_rand random(31);
  std::map<bool, double> worstMs;  // of AAC or not
  for (int kill = 0; kill < numberOfKills(); ++kill) {
    TemporaryFolder folder;
    const auto after = std::int64_t(30 + random() % 60) * kBlockFrames;
    const std::int64_t delivered = recordAndKill(folder.path(), after);
    for (const std::string& path : filesIn(folder.path())) {
      const bool isAAC = path.ends_with(".m4a");
      const double limitMs = isAAC ? 300 : 100;
      EXPECT_EQ(std::system(("ffprobe -v error '" + path + "'").c_str()), 0);
      const auto samples = leftSamples(path);
      const double lostMs = double(delivered - std::int64_t(samples.size())) / 48;
      EXPECT_LE(lostMs, limitMs) << "of " << delivered << " frames";
      EXPECT_GE(lostMs, 0);
      worstMs[isAAC] = std::max(worstMs[isAAC], lostMs);
      if (!isAAC) {
        EXPECT_EQ(marksIn(path), (std::vector<AudioFileMark>{{kMarkedFrame, "to be kept"}}));
      }
      for (std::size_t i = 0; !isAAC && i < samples.size(); ++i)
        ASSERT_EQ(samples[i], numbered(std::int64_t(i)));
    }
  }
  for (const auto& [isAAC, worst] : worstMs)
    if (std::getenv("SONMERE_KILLS"))
      std::printf("%d kills, worst loss of %s %.1f ms\n", numberOfKills(), isAAC ? "M4A" : "WAV", worst);
}

INSTANTIATE_TEST_SUITE_P(Formats, RecordingKillTest,
                         testing::Values(RecordingFormat::wav, RecordingFormat::m4a),
                         [](const auto& format) { return name(format.param); });

}  // namespace
}  // namespace sonmere
