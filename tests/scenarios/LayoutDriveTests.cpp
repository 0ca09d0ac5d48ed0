// The files of every layout on drives that are slow, hang, are full or go away.
#include <gtest/gtest.h>

#include <cstdlib>

#include "LayoutWorld.h"
#include "recording/RecordedSource.h"
#include "support/SizeLimit.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);

// What stands between the recordings and their folder.
struct Drive {
  Runtime* runtime = nullptr;
  Duration standsStillUntil = Duration::zero();
  bool isGone = false;
  int refusedFile = 0;  // the number of the creation that fails; 0: none
  int made = 0;
};

class FileOnDrive final : public AudioFileWriter {
 public:
  FileOnDrive(std::shared_ptr<Drive> drive, std::shared_ptr<AudioFileWriter> file)
      : drive_(std::move(drive)), file_(std::move(file)) {}

  const PCMFormat& processingFormat() const override { return file_->processingFormat(); }
  const std::string& path() const override { return file_->path(); }
  Outcome<void> write(const PCMBuffer& buffer) override {
    if (drive_->isGone) return std::unexpected(Error{kPOSIXErrorDomain, 5, "write: Input/output error"});
    const Duration left = drive_->standsStillUntil - drive_->runtime->uptime();
    if (left > Duration::zero()) drive_->runtime->blockFor(left);
    return file_->write(buffer);
  }
  void addMark(const AudioFileMark& mark) override { file_->addMark(mark); }
  void setOrigin(const AudioFileOrigin& origin) override { file_->setOrigin(origin); }
  FilePlace place() const override { return file_->place(); }
  FileSpace space() const override { return file_->space(); }
  Outcome<void> close() override { return file_->close(); }

 private:
  const std::shared_ptr<Drive> drive_;
  const std::shared_ptr<AudioFileWriter> file_;
};

AudioFileFactory filesOn(const std::shared_ptr<Drive>& drive) {
  return [drive](const std::string& path,
                 const AudioFileSettings& settings) -> Outcome<std::shared_ptr<AudioFileWriter>> {
    if (++drive->made == drive->refusedFile)
      return std::unexpected(Error{kPOSIXErrorDomain, 13, "open: Permission denied"});
    auto file = createAudioFile(path, settings);
    if (!file) return file;
    return std::make_shared<FileOnDrive>(drive, *file);
  };
}

struct DriveWorld : LayoutWorld {
  explicit DriveWorld(RecordingLayout layout, bool isOther = false, float micGain = 0.1f)
      : DriveWorld(layout, isOther, micGain, std::make_shared<Drive>()) {}
  DriveWorld(RecordingLayout layout, bool isOther, float micGain, const std::shared_ptr<Drive>& itsDrive)
      : LayoutWorld(2, filesOn(itsDrive)), drive(*itsDrive) {
    drive.runtime = &runtime;
    startMic([micGain] { return SampleSources::tone(220, micGain); });
    mic->extras().add("Second", 1);
    choose(layout);
    music.emplace(play("org.music", SampleSources::counter()));
    music->setDevice(kBridgeUID);
    request.folder = (folder / (isOther ? "other" : "")).string();
    errors = recordings->errorMessage.observe([this](const std::string& text) {
      if (!text.empty()) messages.push_back({runtime.uptime(), text});
    });
  }
  void start() {
    recordings->startRecording(kBridgeBus, request);
    ASSERT_TRUE(recordings->isRecording(kBridgeBus)) << *recordings->errorMessage;
  }
  std::vector<std::string> filesThere() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(*request.folder))
      if (entry.path().extension() == ".wav" || entry.path().extension() == ".m4a")
        files.push_back(entry.path().string());
    return files;
  }

  Drive& drive;  // kept by the files' factory
  std::optional<SimulatedApp> music;
  TakeRequest request;
  struct Message {
    Duration at;
    std::string text;
  };
  std::vector<Message> messages;
  Subscription errors;
};

constexpr RecordingLayout kLayouts[] = {RecordingLayout::mixed, RecordingLayout::dualMono,
                                        RecordingLayout::separateTracks};

std::size_t filesOf(RecordingLayout layout) { return layout == RecordingLayout::separateTracks ? 4 : 1; }

// As another drive is written to, and as the recordings' own folder is.
class LayoutDrive : public testing::TestWithParam<std::tuple<RecordingLayout, bool>> {
 protected:
  RecordingLayout layout() const { return std::get<0>(GetParam()); }
  bool isOther() const { return std::get<1>(GetParam()); }
};

TEST_P(LayoutDrive, HangsForTwentyNineSecondsAndNothingIsLost) {
  DriveWorld world(layout(), isOther(), 0);  // so that the bridge has the app's frames bit for bit
  world.start();
  world.wait(2);
  world.drive.standsStillUntil = world.runtime.uptime() + 29 * kSecond;
  world.wait(32);
  EXPECT_TRUE(world.messages.empty()) << world.messages.front().text;
  EXPECT_TRUE(world.recordings->isRecording(kBridgeBus));
  const auto files = world.stop();
  ASSERT_EQ(files.size(), filesOf(layout()));
  for (const auto& [name, file] : files) EXPECT_NEAR(file.seconds(), 34, 0.1) << name;
  const File& bridge = files.at(files.size() > 1 ? "Master" : "Recording");
  EXPECT_EQ(counterBreaks(bridge.samples, std::size_t(firstSound(bridge.samples))), 0u);
}

TEST_P(LayoutDrive, HangsForLongerAndTheTakeEndsWithTheReasonAndFilesThatOpen) {
  DriveWorld world(layout(), isOther());
  world.start();
  world.wait(2);
  const Duration from = world.runtime.uptime();
  world.drive.standsStillUntil = from + 33 * kSecond;
  world.wait(60);
  ASSERT_EQ(world.messages.size(), 1u);
  EXPECT_TRUE(world.messages[0].text.starts_with("Recording stopped: writing \"")) << world.messages[0].text;
  EXPECT_TRUE(world.messages[0].text.contains("The recording drive did not keep up; audio was dropped."));
  EXPECT_NEAR(toSeconds(world.messages[0].at - from), 30.5, 0.7);
  EXPECT_FALSE(world.recordings->isAnyRecording() || world.recordings->isAnyStopping());
  const auto paths = world.filesThere();
  ASSERT_EQ(paths.size(), filesOf(layout()));
  for (const std::string& path : paths) EXPECT_GT(readFile(path).seconds(), 30) << path;
}

TEST_P(LayoutDrive, GoesAwayAndThatIsToldWithinTwoSeconds) {
  DriveWorld world(layout(), isOther());
  world.start();
  world.wait(3);
  const Duration from = world.runtime.uptime();
  world.drive.isGone = true;
  world.wait(20);
  ASSERT_EQ(world.messages.size(), 1u) << "once";
  EXPECT_TRUE(world.messages[0].text.contains("Input/output error")) << world.messages[0].text;
  EXPECT_LT(world.messages[0].at - from, 2 * kSecond);
  EXPECT_FALSE(world.recordings->isAnyRecording() || world.recordings->isAnyStopping());
  for (const std::string& path : world.filesThere()) EXPECT_NEAR(readFile(path).seconds(), 3, 0.2) << path;
  EXPECT_EQ(world.host().counts().taps, 0u);
  EXPECT_EQ(world.host().counts().captures, 0u);
}

// A whole run takes 200 places.
int cutPoints() {
  const char* count = std::getenv("SONMERE_CUT_POINTS");
  return count ? std::max(2, std::atoi(count)) : 5;
}

// Wherever there is no more room: the take ends once and says why, and each file opens with what it holds.
TEST_P(LayoutDrive, IsFullWhereverItMayBe) {
  for (const RecordingFormat format : {RecordingFormat::wav, RecordingFormat::m4a})
    for (int cut = 0; cut < cutPoints(); ++cut) {
      const std::uint64_t most = format == RecordingFormat::wav ? 400'000 : 40'000;
      const std::uint64_t room = most * std::uint64_t(cut) / std::uint64_t(cutPoints()) + cut % 7;
      SCOPED_TRACE(testing::Message() << name(format) << " " << room << " bytes a file");
      DriveWorld world(layout(), isOther());
      world.request.format = format;
      bool hasBegun = false;
      {
        const SizeLimit limit(room);
        world.recordings->startRecording(kBridgeBus, world.request);
        hasBegun = world.recordings->isAnyRecording();
        world.wait(3);
        EXPECT_FALSE(world.recordings->isAnyRecording() || world.recordings->isAnyStopping());
      }
      ASSERT_EQ(world.messages.size(), 1u);
      const char* begin = hasBegun ? "Recording stopped: " : "Couldn't start recording: ";
      EXPECT_TRUE(world.messages[0].text.starts_with(begin)) << world.messages[0].text;
      const auto paths = world.filesThere();
      EXPECT_EQ(paths.empty(), !hasBegun) << "nothing half-made";
      EXPECT_LE(paths.size(), filesOf(layout()));
      for (const std::string& path : paths) {
        const auto reader = openAudioFile(path);
        EXPECT_TRUE(reader || reader.error().description.ends_with("has no audio")) << path;
        if (path.ends_with(".wav") && reader) {
          EXPECT_LE(std::uint64_t((*reader)->frameCount()) * 4, room);
        }
      }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, LayoutDrive, testing::Combine(testing::ValuesIn(kLayouts), testing::Bool()),
                         [](const auto& each) {
                           return std::string(name(std::get<0>(each.param))) +
                                  (std::get<1>(each.param) ? "Elsewhere" : "");
                         });

// Without its master or its microphone there is no session; without an input or the apps there is.
TEST(LayoutDrive, EachFileThatCantBeMadeLeavesAWholeSessionOrNone) {
  const std::size_t left[] = {0, 0, 3, 3, 4};
  for (int n = 1; n <= 5; ++n) {
    DriveWorld world(RecordingLayout::separateTracks);
    world.drive.refusedFile = n;
    world.recordings->startRecording(kBridgeBus, world.request);
    EXPECT_EQ(world.recordings->busRecordingStatuses->size(), left[n - 1]) << n;
    EXPECT_EQ(world.messages.size(), left[n - 1] == 0 ? 1u : 0u) << n;
    world.wait(1);
    world.stop();
    EXPECT_EQ(world.filesThere().size(), left[n - 1]) << n;
    world.wait(1);
    EXPECT_EQ(world.host().counts().taps, 0u);
    EXPECT_EQ(world.host().counts().captures, 0u);
    // Each by itself.
    world.drive.refusedFile = world.drive.made + 1;
    const std::size_t before = world.filesThere().size();
    world.recordings->startRecording(kMicSource, world.request);
    EXPECT_FALSE(world.recordings->isAnyRecording());
    EXPECT_TRUE(world.messages.back().text.starts_with("Couldn't start mic recording: "));
    EXPECT_EQ(world.filesThere().size(), before);
  }
}

}  // namespace
}  // namespace sonmere
