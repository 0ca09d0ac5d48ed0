// A session of many files on a drive that stands still again and again.
#include <gtest/gtest.h>

#include <cstdlib>

#include "RecordingBench.h"
#include "base/VirtualRuntime.h"
#include "recording/BusRecorder.h"
#include "recording/MicSideRecorder.h"

namespace sonmere {
namespace {

constexpr std::int64_t kBlockFrames = 480;
constexpr Duration kStall = fromMilliseconds(1500);

// Keeps nothing but the count; every frame has to follow the one before.
class CountedFile final : public AudioFileWriter {
 public:
  CountedFile(Runtime& runtime, std::string path, const AudioFileSettings& settings)
      : runtime_(runtime), path_(std::move(path)), format_{settings.sampleRate, settings.channels} {}

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }
  Outcome<void> write(const PCMBuffer& buffer) override {
    if (std::exchange(standsStill, false)) runtime_.blockFor(kStall);
    for (std::uint32_t i = 0; i < buffer.frameLength(); ++i)
      breaks += buffer.channel(0)[i] != float((frames + i) % 32768) / 32768;
    frames += buffer.frameLength();
    return {};
  }
  Outcome<void> close() override { return {}; }

  bool standsStill = false;
  std::int64_t frames = 0, breaks = 0;

 private:
  Runtime& runtime_;
  const std::string path_;
  const PCMFormat format_;
};

int minutes() {
  const char* asked = std::getenv("SONMERE_STALL_MINUTES");
  return asked ? std::max(1, std::atoi(asked)) : 2;
}

// SONMERE_STALL_MINUTES=30 for a whole session; prints what came of it.
TEST(RecordingStall, ElevenFilesLoseNoFrameOnADriveThatStallsEveryMinute) {
  for (const bool isQueued : {false, true}) {
    SCOPED_TRACE(isQueued ? "another drive" : "the recordings folder");
    VirtualRuntime runtime{7};
    RecordingBench bench{runtime};
    std::vector<std::shared_ptr<CountedFile>> files;
    bench.context.createFile =
        [&](const std::string& path,
            const AudioFileSettings& settings) -> Outcome<std::shared_ptr<AudioFileWriter>> {
      files.push_back(std::make_shared<CountedFile>(runtime, path, settings));
      return files.back();
    };
    const std::string folder = isQueued ? bench.otherFolder() : bench.defaultFolder();
    std::vector<std::shared_ptr<RingRecorder>> recorders;
    for (int bus = 0; bus < 9; ++bus)
      recorders.push_back(*BusRecorder::create(
          bench.context, {bus, RecordingFormat::wav, 48000, "Track " + std::to_string(bus), folder}));
    for (const char* name : {"Mic", "Input"})
      recorders.push_back(*MicSideRecorder::create(bench.context, {name, {}, 48000, 48000, 1, folder}));
    ASSERT_EQ(files.size(), 11u);
    std::int64_t rendered = 0;
    const auto clock = runtime.startCycles("render", fromMilliseconds(10), [&](Duration at) {
      std::vector<float> block;
      for (std::int64_t i = 0; i < kBlockFrames; ++i)
        block.insert(block.end(), 2, float((rendered + i) % 32768) / 32768);
      for (const auto& recorder : recorders) recorder->ring()->writeStereo(block.data(), kBlockFrames);
      rendered += kBlockFrames;
      return at + fromMilliseconds(10);
    });
    for (int minute = 0; minute < minutes(); ++minute) {
      runtime.advance(std::chrono::seconds(50));
      for (const auto& file : files) file->standsStill = true;
      runtime.advance(std::chrono::seconds(10));
    }
    runtime.advance(std::chrono::seconds(2));
    for (std::size_t i = 0; i < files.size(); ++i) {
      EXPECT_EQ(recorders[i]->lostFrames(), 0) << i;
      EXPECT_FALSE(files[i]->standsStill) << "it was written to";
      EXPECT_EQ(files[i]->breaks, 0) << i;
      EXPECT_GE(files[i]->frames, rendered - 4 * kBlockFrames) << i;
    }
    if (std::getenv("SONMERE_STALL_MINUTES"))
      std::printf("%d minutes, 11 files, %lld frames each, none overtaken\n", minutes(),
                  static_cast<long long>(files[0]->frames));
  }
}

}  // namespace
}  // namespace sonmere
