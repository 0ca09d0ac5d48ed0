#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "RecordingBench.h"
#include "base/VirtualRuntime.h"
#include "recording/RecordedSource.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingFileSettings.h"
#include "recording/RecordingsFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
};

TEST(RecordingFileSettings, DepthComesFromTheSettingAndFallsBackTo16Bits) {
  struct Case {
    SettingsValue stored;
    int bits;
    bool isFloat;
    int bytes;
  };
  const Case cases[] = {{"int16", 16, false, 4},   {"int24", 24, false, 6}, {"float32", 32, true, 8},
                        {"Float32", 16, false, 4}, {24, 16, false, 4},      {SettingsValue(), 16, false, 4}};
  for (const Case& c : cases) {
    MemorySettingsStore settings;
    if (!c.stored.isNull()) settings.set(kRecordingBitDepthKey, c.stored);
    const auto depth = recordingBitDepth(settings);
    const auto wav = recordingFileSettings(RecordingFormat::wav, 44100, 2, depth);
    EXPECT_EQ(wav.bitDepth, c.bits);
    EXPECT_EQ(wav.isFloat, c.isFloat);
    EXPECT_EQ(wav.channels, 2u);
    EXPECT_EQ(wav.sampleRate, 44100);
    EXPECT_EQ(bytesPerFrame(RecordingFormat::wav, 2, depth), c.bytes);
    EXPECT_EQ(bytesPerFrame(RecordingFormat::wav, 1, depth), c.bytes / 2);
    EXPECT_EQ(bytesPerFrame(RecordingFormat::m4a, 2, depth), 1);
  }
  const auto m4a = recordingFileSettings(RecordingFormat::m4a, 48000, 2, RecordingBitDepth::float32);
  EXPECT_EQ(m4a.encoding, AudioFileSettings::Encoding::aac);
  EXPECT_EQ(m4a.bitRate, 192000);
}

TEST(RecordedSource, TheirNamesReadBackAndNothingElseDoes) {
  EXPECT_EQ(recordedSourceName(kFirstInputSource), "input 1");
  for (const int source : {kMicSource, kAppsSource, kFirstInputSource, kFirstInputSource - 11})
    EXPECT_EQ(recordedSourceNamed(recordedSourceName(source)), source);
  for (const char* nothing : {"", "mics", "input", "input 0", "input -1", "input 1x", "input x", "Input 1"})
    EXPECT_FALSE(recordedSourceNamed(nothing)) << nothing;
}

TEST(RecordingFileName, StampIsLocalTimeAndATakenNameGetsANumberBeforeIt) {
  const TimeZone zone("XXX-5:30");
  const TemporaryFolder folder;
  const Date date = std::chrono::sys_days{std::chrono::year{2026} / 12 / 31} + std::chrono::hours(20) +
                    std::chrono::seconds(7);
  const std::string name = "Sonmere Track 1 \xE2\x80\x94 2027-01-01 01-30-07.wav";
  const auto path = [&] {
    return fs::path(freeRecordingPath(folder.path().string(), "Sonmere Track 1", date, RecordingFormat::wav));
  };
  EXPECT_EQ(path(), folder / name);
  std::ofstream(folder / name) << "a take";
  fs::create_symlink("nowhere", folder / "Sonmere Track 1 2 \u2014 2027-01-01 01-30-07.wav");
  EXPECT_EQ(path().filename().string(), "Sonmere Track 1 3 \u2014 2027-01-01 01-30-07.wav");
}

TEST(RecordingsFolder, ChosenFolderIsUsedOrPassedOverForTheDefault) {
  VirtualRuntime runtime(1);
  RecordingBench bench(runtime);
  const RecordingsFolder folder(bench.context);
  EXPECT_EQ(folder.current(), bench.defaultFolder());
  EXPECT_TRUE(fs::is_directory(bench.defaultFolder()));

  bench.settings.set(RecordingsFolder::kPathKey, bench.otherFolder() + "/deeper");
  EXPECT_EQ(folder.current(), bench.otherFolder() + "/deeper");
  EXPECT_TRUE(fs::is_empty(bench.otherFolder() + "/deeper")) << "the write test leaves nothing behind";

  std::ofstream(bench.folder / "file") << "in the way";
  bench.settings.set(RecordingsFolder::kPathKey, (bench.folder / "file").string());
  EXPECT_EQ(folder.current(), bench.defaultFolder());
  EXPECT_TRUE(
      bench.logged("Sonmere: chosen recordings folder not available, recording to the default folder"));

  bench.settings.set(RecordingsFolder::kPathKey, "/proc");  // there, but nobody may make files in it
  EXPECT_EQ(folder.current(), bench.defaultFolder());
  EXPECT_TRUE(bench.lines.back().starts_with("Sonmere: chosen recordings folder failed (Create /proc/"));
}

TEST(RecordingsFolder, OnlyAnUnusableDefaultIsAnError) {
  VirtualRuntime runtime(1);
  RecordingBench bench(runtime);
  std::ofstream(bench.folder / "recordings") << "in the way";
  const auto folder = RecordingsFolder(bench.context).current();
  ASSERT_FALSE(folder);
  EXPECT_NE(folder.error().description.find(bench.defaultFolder()), std::string::npos);
}

TEST(RecordingsFolder, ADefaultThatCantBeWrittenToIsFoundBeforehandAndLeavesNothing) {
  VirtualRuntime runtime(1);
  RecordingBench bench(runtime);
  const std::string parent = (bench.folder / "new").string();
  for (const std::string& path : {std::string("/proc"), parent + "/" + std::string(300, 'x')}) {
    bench.context.folders.defaultRecordings = path;
    const auto folder = RecordingsFolder(bench.context).current();
    ASSERT_FALSE(folder) << path;
    EXPECT_NE(folder.error().description.find("The recordings folder " + path + " can't be used"),
              std::string::npos);
  }
  EXPECT_FALSE(fs::exists(parent)) << "made on the way to a folder that could not be made";
}

TEST(RecordingsFolder, ALinkIntoADriveThatIsAwayStaysAndIsNotUsable) {
  VirtualRuntime runtime(1);
  RecordingBench bench(runtime);
  const RecordingsFolder folder(bench.context);
  fs::create_symlink(bench.folder / "drive", bench.defaultFolder());
  EXPECT_FALSE(folder.current());
  EXPECT_TRUE(fs::is_symlink(bench.defaultFolder())) << "the user's own";
  fs::remove(bench.defaultFolder());

  fs::create_symlink(bench.folder / "drive", bench.otherFolder());
  for (const std::string& chosen : {bench.otherFolder(), bench.otherFolder() + "/takes"}) {
    EXPECT_EQ(folder.state(chosen), (RecordingsFolderState{bench.defaultFolder(), true}));
    bench.settings.set(RecordingsFolder::kPathKey, chosen);
    EXPECT_EQ(folder.current(), bench.defaultFolder());
  }
  fs::create_directory(bench.folder / "drive");
  EXPECT_EQ(folder.state(bench.otherFolder() + "/takes"),
            (RecordingsFolderState{bench.otherFolder() + "/takes", false}));
}

TEST(RecordingsFolder, SameFolderThroughALinkIsNoOther) {
  const TemporaryFolder folder;
  const auto at = [&](const char* name) { return (folder / name).string(); };
  fs::create_directory(folder / "real");
  fs::create_directory_symlink("real", folder / "link");
  EXPECT_FALSE(areDifferentFolders(at("real"), at("link")));
  EXPECT_FALSE(areDifferentFolders(at("real"), at("link") + "/"));
  EXPECT_FALSE(areDifferentFolders(at("later"), at("link/../later/")));
  EXPECT_TRUE(areDifferentFolders(at("real"), at("real/sub")));
  EXPECT_TRUE(areDifferentFolders(at("real"), at("later")));
}

}  // namespace
}  // namespace sonmere
