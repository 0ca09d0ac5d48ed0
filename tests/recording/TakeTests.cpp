// What one act of recording can ask for: depth and folder, an end by length, size or room on the drive,
// parts, and when each file says that it was heard.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "RecordingBench.h"
#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "recording/BusRecordings.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingReader.h"
#include "recording/library/RecordingRename.h"
#include "recording/library/RecordingScanner.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

constexpr Duration kSecond = std::chrono::seconds(1);

float numbered(std::int64_t frame) { return float(frame % 32768) / 32768; }

// The render side of all buses at 48 kHz: frames that count through, in blocks that fit no part.
class NumberedFeed final : public RecorderFeed {
 public:
  explicit NumberedFeed(Runtime& runtime)
      : clock_(runtime.startCycles("render", kCycle, [this](Duration at) {
          for (auto& [bus, fed] : fed_) deliver(fed);
          return at + kCycle;
        })) {}

  void setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring) override {
    ring ? void(fed_[bus] = {std::move(ring), 0}) : void(fed_.erase(bus));
  }
  double busSampleRate(int) const override { return 48000; }

 private:
  static constexpr Duration kCycle = fromMilliseconds(10);
  struct Fed {
    std::shared_ptr<RecorderRing> ring;
    std::int64_t frames = 0;
  };
  static void deliver(Fed& fed) {
    std::vector<float> block;
    for (int i = 0; i < 480; ++i) block.insert(block.end(), 2, numbered(fed.frames++));
    fed.ring->write(block.data(), std::int64_t(block.size()));
  }

  std::map<int, Fed> fed_;
  std::unique_ptr<CycleClock> clock_;
};

struct Read {
  std::vector<float> left;
  AudioFileDetails details;
  double rate = 0;
};

Read readFile(const std::string& path) {
  Read read;
  const auto reader = openAudioFile(path);
  EXPECT_TRUE(reader) << path;
  if (!reader) return read;
  read.details = (*reader)->details();
  read.rate = (*reader)->format().sampleRate;
  std::vector<float> block(2 * 4096);
  while (const auto count = (*reader)->read(block.data(), 4096).value_or(0))
    for (std::uint32_t i = 0; i < count; ++i) read.left.push_back(block[2 * i]);
  return read;
}

// As another program reads it.
std::string tagByFFprobe(const std::string& path, const std::string& tag) {
  const std::string command =
      "ffprobe -v error -show_entries format_tags=" + tag + " -of csv=p=0 '" + path + "'";
  std::FILE* pipe = ::popen(command.c_str(), "r");
  char text[256] = "";
  if (std::fgets(text, sizeof text, pipe)) text[std::strcspn(text, "\n")] = 0;
  ::pclose(pipe);
  return text;
}

class TakeTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    bench.context.createFile = createAudioFile;
    recordings = std::make_unique<BusRecordings>(bench.context, feed);
  }
  void start(std::vector<int> buses, const TakeRequest& request) {
    recordings->startRecordings(buses, request);
  }
  std::vector<std::string> stop() {
    std::vector<std::string> all;
    recordings->stopAllRecordings([&](auto paths) { all = std::move(paths); });
    runtime.advance(kSecond);
    return all;
  }
  std::vector<std::string> filesIn(const std::string& folder) const {
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path().string());
    std::ranges::sort(files);
    return files;
  }

  VirtualRuntime runtime{21};
  RecordingBench bench{runtime};
  NumberedFeed feed{runtime};
  std::unique_ptr<BusRecordings> recordings;
};

TEST_F(TakeTest, HasADepthAndAFolderOfItsOwn) {
  bench.settings.set(kRecordingBitDepthKey, "int16");
  start({2}, {.depth = RecordingBitDepth::float32, .folder = (bench.folder / "a/b").string()});
  ASSERT_EQ(*recordings->errorMessage, "");
  runtime.advance(kSecond);
  const auto status = recordings->busRecordingStatuses->at(2);
  EXPECT_EQ(status.bytesWritten, 8 * status.framesWritten) << "whatever the settings say meanwhile";
  const auto files = stop();
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(fs::path(files[0]).parent_path(), bench.folder / "a/b");
  EXPECT_TRUE(readFile(files[0]).details.isFloat);

  // What was asked for is not quietly put elsewhere.
  std::ofstream(bench.folder / "file") << "no folder";
  const std::string wrongs[] = {(bench.folder / "file/in").string(), "/proc/nowhere",
                                (bench.folder / std::string(300, 'x')).string()};
  for (const std::string& wrong : wrongs) {
    start({2}, {.folder = wrong});
    EXPECT_FALSE(recordings->isAnyRecording()) << wrong;
    EXPECT_TRUE(recordings->errorMessage->contains(wrong)) << *recordings->errorMessage;
    EXPECT_FALSE(recordings->errorMessage->contains('\n'));
  }
}

TEST_F(TakeTest, EndsByItselfAtItsLengthToTheSampleAndAtItsSize) {
  start({2, 3}, {.mostSeconds = 1.2345});
  runtime.advance(3 * kSecond);
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_EQ(recordings->endNotice.get(),
            "The recording has the length of 0:01 that was asked for, and has ended.");
  EXPECT_EQ(*recordings->errorMessage, "") << "which is no fault";
  const auto files = filesIn(bench.defaultFolder());
  ASSERT_EQ(files.size(), 2u);
  for (const std::string& file : files) EXPECT_EQ(readFile(file).left.size(), 59256u);

  // Both files together; another act goes on.
  start({2, 3}, {.mostBytes = 1'000'000});
  EXPECT_FALSE(recordings->endNotice.get()) << "until the next start";
  start({4}, {});
  runtime.advance(2 * kSecond);
  EXPECT_EQ(recordings->busRecordingStatuses->size(), 3u);
  runtime.advance(2 * kSecond);
  EXPECT_EQ(recordings->busRecordingStatuses->size(), 1u);
  EXPECT_TRUE(recordings->endNotice.get());
  stop();
}

TEST_F(TakeTest, EndsCleanlyBeforeTheDriveIsFullAndWarnsBefore) {
  const double free = double(*freeBytesAt(bench.folder.path())) / 1e6;
  bench.settings.set(kStopFreeKey, 0.0);
  bench.settings.set(kWarnFreeKey, free + 1e6);
  start({2}, {});
  runtime.advance(2 * kSecond);
  EXPECT_TRUE(recordings->spaceNotice.get() && recordings->spaceNotice.get()->starts_with("Less than "));
  EXPECT_TRUE(recordings->isAnyRecording());
  bench.settings.set(kStopFreeKey, free + 1e6);
  runtime.advance(2 * kSecond);
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_TRUE(recordings->errorMessage->starts_with("Recording stopped: only ")) << *recordings->errorMessage;
  EXPECT_FALSE(recordings->spaceNotice.get());
  const auto files = filesIn(bench.defaultFolder());
  ASSERT_EQ(files.size(), 1u);
  EXPECT_GT(readFile(files[0]).left.size(), 90000u);

  start({2}, {});
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_TRUE(recordings->errorMessage->starts_with("Couldn't start recording: only "));
  EXPECT_EQ(filesIn(bench.defaultFolder()).size(), 1u) << "nothing half-made";
}

// One recording of several files: every frame is in one of them, and marks and instants go on.
TEST_F(TakeTest, PartsLoseAndDoubleNoFrame) {
  for (const RecordingFormat format : {RecordingFormat::wav, RecordingFormat::m4a})
    for (const bool isQueued : {false, true}) {
      SCOPED_TRACE(std::string(name(format)) + (isQueued ? " queued" : ""));
      const std::string folder =
          (bench.folder / (std::string(name(format)) + (isQueued ? "q" : ""))).string();
      if (!isQueued) {
        fs::create_directories(bench.defaultFolder());
        for (const auto& old : filesIn(bench.defaultFolder())) fs::remove(old);
      }
      const auto begun = std::llround(toSeconds(runtime.uptime()) * 48000);
      TakeRequest request{.format = format, .partSeconds = 1.0001};
      if (isQueued) request.folder = folder;
      start({2}, request);
      runtime.advance(fromSeconds(2.5));
      recordings->mark("in the third");
      runtime.advance(fromSeconds(1));
      EXPECT_GE(recordings->busRecordingStatuses->at(2).part, 3);
      EXPECT_FALSE(recordings->fileNotice.get()) << "it was not moved by anybody";
      const auto paths = stop();
      ASSERT_EQ(paths.size(), 4u);
      std::vector<std::size_t> lengths;
      std::int64_t frames = 0;
      for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string name = fs::path(paths[i]).filename().string();
        const auto parts = parseRecordingName(name);
        ASSERT_TRUE(parts);
        EXPECT_EQ(parts->name, recordingPartName("Sonmere Track 1", int(i) + 1));
        const Read part = readFile(paths[i]);
        lengths.push_back(part.left.size());
        if (format == RecordingFormat::m4a) continue;
        for (const float sample : part.left) ASSERT_EQ(sample, numbered(frames++));
        EXPECT_EQ(part.details.marks.size(), i == 2 ? 1u : 0u);
        EXPECT_EQ(std::stoll(tagByFFprobe(paths[i], "time_reference")),
                  12 * 3600 * 48000ll + begun + std::int64_t(i) * 48005)
            << "one line";
      }
      for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(lengths[i], 48005u);
      EXPECT_NEAR(double(lengths[3]), 3.5 * 48000 - 3 * 48005, 3000);
      runtime.advance(kSecond);
    }
}

// To everyone who lists, reads, renames or deletes recordings they are one.
TEST_F(TakeTest, PartsAreOneRecordingToTheLibrary) {
  start({2, 3}, {.partSeconds = 1});
  runtime.advance(fromSeconds(1.5));
  recordings->mark("later");
  runtime.advance(fromSeconds(1));
  const auto paths = stop();
  ASSERT_EQ(paths.size(), 6u);
  RecordingScanner scanner(bench.log);
  const auto look = [&] { return scanner.scan(bench.defaultFolder(), runtime.wallTime()).sessions; };
  const auto sessions = look();
  ASSERT_EQ(sessions.size(), 1u);
  ASSERT_EQ(sessions[0].files.size(), 2u);
  const RecordingFile& file = sessions[0].files[0];
  EXPECT_EQ(file.displayName, "Track 1");
  EXPECT_EQ(file.parts, std::vector<std::string>(paths.begin() + 1, paths.begin() + 3));
  ASSERT_EQ(file.marks.size(), 1u);
  EXPECT_NEAR(file.marks[0].seconds, 1.5, 0.1);
  EXPECT_EQ(file.marks[0].text, "later");

  const auto joined = openRecording(file.url);
  ASSERT_TRUE(joined);
  EXPECT_NEAR(double((*joined)->frameCount()) / 48000, file.durationSeconds, 1e-9);
  EXPECT_GT((*joined)->frameCount(), 115000);
  std::vector<float> block(2 * 4096);
  for (const std::int64_t from : {0, 47000, 96010, 3}) {
    ASSERT_TRUE((*joined)->seek(from));
    for (std::int64_t frame = from; frame < from + 15000;) {
      const auto count = (*joined)->read(block.data(), 4096);
      ASSERT_TRUE(count && *count > 0);
      for (std::uint32_t i = 0; i < *count; ++i, ++frame) ASSERT_EQ(block[2 * i], numbered(frame));
    }
  }

  const auto renamed = renameRecording(file.url, "Talk", true);
  ASSERT_TRUE(renamed) << renamed.error().description;
  EXPECT_EQ(laterRecordingParts(*renamed).size(), 2u);
  EXPECT_TRUE(laterRecordingParts(file.url).empty());
  // Nor does a name make one recording of two.
  const std::string other = sessions[0].files[1].url;
  const auto asPart = renameRecording(other, "Talk Part 4", true);
  ASSERT_FALSE(asPart);
  EXPECT_TRUE(asPart.error().description.contains("part of \"Talk\"")) << asPart.error().description;
  const fs::path stray =
      fs::path(other).parent_path() / ("Free Part 4" + renamed->substr(renamed->find(" \u2014 ")));
  std::ofstream(stray) << "x";
  EXPECT_FALSE(renameRecording(other, "Free", true)) << "it has three parts";
  fs::remove(stray);
  // A name that is taken behind the first one takes the others back.
  EXPECT_FALSE(renameRecording(sessions[0].files[1].url, "Talk", true));
  fs::remove(*renamed);
  EXPECT_FALSE(renameRecording(sessions[0].files[1].url, "Talk", true));
  EXPECT_TRUE(fs::exists(sessions[0].files[1].url)) << "all or none";
  EXPECT_EQ(look()[0].files.size(), 3u) << "parts without their first are files of their own";
  // One that is missing ends the recording there.
  fs::remove(sessions[0].files[1].parts[0]);
  EXPECT_EQ((*openRecording(sessions[0].files[1].url))->frameCount(), 48000);
}

// What is kept is recorded like a take, only into memory, and the take goes on where that ends.
TEST_F(TakeTest, BeginsWithWhatWasKeptOfTheTimeBefore) {
  const auto sources = [this] {
    std::vector<int> all = {2, 3};
    std::erase_if(all, [this](int source) { return recordings->isRecording(source); });
    return all;
  };
  Preroll& preroll = recordings->preroll();
  preroll.start(sources);
  EXPECT_TRUE(preroll.state->sources.empty()) << "off unless asked for";
  EXPECT_TRUE(preroll.lack(1));
  bench.settings.set(kPrerollKey, 2.0);
  preroll.settingChanged();
  EXPECT_EQ(preroll.state->sources, (std::vector<int>{2, 3}));
  runtime.advance(fromSeconds(7.5));
  EXPECT_EQ(preroll.state->keptSeconds, 2);
  EXPECT_EQ(preroll.state->bytes, 2u * 4 * 48000 * 2 * 2);
  EXPECT_FALSE(preroll.lack(2));
  EXPECT_TRUE(preroll.lack(2.5));

  // A start that fails takes nothing away.
  std::ofstream(bench.folder / "file") << "no folder";
  start({2}, {.folder = (bench.folder / "file/in").string()});
  EXPECT_FALSE(recordings->isAnyRecording());
  EXPECT_EQ(preroll.state->sources.size(), 2u);

  for (const RecordingFormat format : {RecordingFormat::wav, RecordingFormat::m4a}) {
    const double at = toSeconds(runtime.uptime());
    start({2, 3, 4}, {.format = format, .mostSeconds = 3.5, .partSeconds = 3});
    ASSERT_TRUE(recordings->isRecording(2) && recordings->isRecording(4)) << *recordings->errorMessage;
    EXPECT_TRUE(preroll.state->sources.empty());
    runtime.advance(fromSeconds(0.7));
    recordings->mark("now");
    runtime.advance(fromSeconds(4));
    EXPECT_FALSE(recordings->isAnyRecording()) << "its length is with what was kept";
    EXPECT_EQ(preroll.state->sources.size(), 2u) << "kept again";
    std::vector<std::vector<float>> wholes;
    for (const char* name : {"Sonmere Track 1", "Sonmere Track 2", "Sonmere Track 3"}) {
      const auto files = filesIn(bench.defaultFolder());
      const auto first = std::ranges::find_if(
          files, [&](const std::string& path) { return path.contains(std::string(name) + " \u2014"); });
      ASSERT_NE(first, files.end());
      const bool wasKept = std::string(name) != "Sonmere Track 3";
      EXPECT_EQ(laterRecordingParts(*first).size(), wasKept ? 1u : 0u);
      const auto whole = openRecording(*first);
      ASSERT_TRUE(whole);
      std::vector<float> left, block(2 * 4096);
      while (const auto count = (*whole)->read(block.data(), 4096).value_or(0))
        for (std::uint32_t i = 0; i < count; ++i) left.push_back(block[2 * i]);
      EXPECT_EQ(left.size(), wasKept ? 168000u : 72000u) << name << ": they end at one instant";
      wholes.push_back(left);
      if (format == RecordingFormat::m4a) continue;
      const auto begin = std::llround(left.front() * 32768);
      for (std::size_t i = 0; i < left.size(); ++i) ASSERT_EQ(left[i], numbered(begin + std::int64_t(i)));
      const double reference = std::stod(tagByFFprobe(*first, "time_reference")) / 48000;
      EXPECT_NEAR(reference, 12 * 3600 + at - (wasKept ? 2 : 0), 0.03) << name;
      ASSERT_EQ((*whole)->details().marks.size(), 1u);
      EXPECT_NEAR(double((*whole)->details().marks[0].frame) / 48000, wasKept ? 2.7 : 0.7, 0.03) << name;
    }
    if (format == RecordingFormat::wav) {
      EXPECT_EQ(wholes[0], wholes[1]) << "in step";
    }
    for (const std::string& file : filesIn(bench.defaultFolder())) fs::remove(file);
    runtime.advance(fromSeconds(3));
  }
  start({3}, {.prerollSeconds = 0.5});
  runtime.advance(fromSeconds(1));
  const auto paths = stop();
  ASSERT_EQ(paths.size(), 1u);
  EXPECT_NEAR(double(readFile(paths[0]).left.size()) / 48000, 1.5, 0.05);
}

TEST_F(TakeTest, TheLastSecondsAreSavedWithoutATake) {
  Preroll& preroll = recordings->preroll();
  std::optional<Outcome<std::vector<std::string>>> saved;
  const auto save = [&](double seconds) {
    saved.reset();
    recordings->saveLast(seconds, {}, [&](auto result) { saved = std::move(result); });
    runtime.settle();
  };
  save(1);
  ASSERT_TRUE(saved && !*saved) << "nothing is kept";
  bench.settings.set(kPrerollKey, 3.0);
  preroll.start([] { return std::vector<int>{2, 3}; });
  runtime.advance(fromSeconds(6));
  for (int i = 0; i < 2; ++i) {
    save(2);
    ASSERT_TRUE(saved && *saved);
    ASSERT_EQ((*saved)->size(), 2u);
    const Read one = readFile((*saved)->front()), other = readFile((*saved)->back());
    EXPECT_EQ(one.left.size(), 96000u);
    EXPECT_EQ(one.left, other.left);
    const auto begin = std::llround(one.left.front() * 32768);
    for (std::size_t f = 0; f < one.left.size(); ++f)
      ASSERT_EQ(one.left[f], numbered(begin + std::int64_t(f)));
    runtime.advance(kSecond);
  }
  EXPECT_EQ(preroll.state->keptSeconds, 3) << "and it goes on";
  EXPECT_FALSE(recordings->isAnyRecording());
  // More than the machine has memory for is refused, and told.
  preroll.start([] { return std::vector<int>(100000, 2); });
  EXPECT_TRUE(preroll.state->refusal.contains("of memory, more than the")) << preroll.state->refusal;
  EXPECT_TRUE(preroll.state->sources.empty());
  bench.settings.set(kPrerollKey, 0.0);
  preroll.settingChanged();
  EXPECT_EQ(preroll.state.get(), PrerollState{});
}

TEST_F(TakeTest, TheFilesOfASessionBearOneInstant) {
  runtime.advance(fromSeconds(1.25));
  start({0, 2, 3}, {});
  runtime.advance(kSecond);
  for (const std::string& path : stop()) {
    EXPECT_EQ(tagByFFprobe(path, "time_reference"), std::to_string((12 * 3600 + 1) * 48000 + 12000));
    EXPECT_EQ(tagByFFprobe(path, "date"), "2026-01-01");
    EXPECT_EQ(tagByFFprobe(path, "encoded_by"), "Sonmere");
  }
}

}  // namespace
}  // namespace sonmere
