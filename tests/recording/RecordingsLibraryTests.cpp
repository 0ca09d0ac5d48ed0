#include "recording/library/RecordingsLibrary.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "RecordingBench.h"
#include "WavBytes.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "recording/library/InotifyFolderWatch.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

// A watch that the test itself makes tell.
class FakeFolderWatch final : public FolderWatch {
 public:
  struct State {
    std::string folder;
    OnChange changed;
  };
  explicit FakeFolderWatch(std::shared_ptr<State> state) : state_(std::move(state)) {}
  ~FakeFolderWatch() override { *state_ = {}; }
  Outcome<void> watch(const std::string& folder, OnChange changed) override {
    if (!fs::is_directory(folder)) return std::unexpected(posixError(ENOENT, "Watch"));
    *state_ = {folder, std::move(changed)};
    return {};
  }

 private:
  std::shared_ptr<State> state_;
};

class RecordingsLibraryTest : public testing::Test {
 protected:
  static std::string named(const std::string& name) { return name + " \u2014 2026-01-01 10-00-00.wav"; }
  void put(const std::string& path, Duration age = std::chrono::seconds(100)) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << interruptedWav(6044);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(runtime.wallTime() - age);
    const timespec times[] = {{seconds.time_since_epoch().count(), 0},
                              {seconds.time_since_epoch().count(), 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  std::string inDefault(const std::string& name) const { return bench.defaultFolder() + "/" + named(name); }
  std::size_t fileCount() const {
    std::size_t count = 0;
    for (const auto& session : *library.sessions) count += session.files.size();
    return count;
  }
  void startWatching() {
    library.startWatching(std::make_unique<FakeFolderWatch>(watch));
    runtime.settle();
  }

  VirtualRuntime runtime{1};
  RecordingBench bench{runtime};
  RecordingsLibrary library{bench.context};
  std::shared_ptr<FakeFolderWatch::State> watch = std::make_shared<FakeFolderWatch::State>();
};

TEST_F(RecordingsLibraryTest, AScanPublishesAndAssignsOnlyWhatChanged) {
  put(inDefault("A"));
  int assigned = 0;
  std::vector<bool> scanning;
  const auto sessions = library.sessions.observe([&](const auto&) { ++assigned; });
  const auto states = library.isScanning.observe([&](bool isScanning) { scanning.push_back(isScanning); });
  library.scan();
  EXPECT_TRUE(*library.isScanning);
  runtime.settle();
  EXPECT_EQ(assigned, 1);
  ASSERT_EQ(fileCount(), 1u);
  EXPECT_GT(library.sessions->front().files[0].durationSeconds, 0) << "it was mended";
  EXPECT_EQ(*library.folderInUse, bench.defaultFolder());
  library.scan();
  library.scan();
  library.scan();
  runtime.settle();
  EXPECT_EQ(assigned, 1) << "nothing new";
  EXPECT_EQ(scanning, (std::vector<bool>{true, false, true, false, true, false}))
      << "what is asked for during a scan is one more";
  fs::remove_all(bench.defaultFolder());
  library.scan();
  runtime.settle();
  EXPECT_EQ(fileCount(), 0u);
}

TEST_F(RecordingsLibraryTest, AChosenFolderIsTakenKeptForLaterOrRefused) {
  using Choice = RecordingsLibrary::Choice;
  put(bench.otherFolder() + "/" + named("B"));
  EXPECT_EQ(library.chooseFolder(bench.otherFolder()), Choice::taken);
  runtime.settle();
  EXPECT_EQ(*library.folderInUse, bench.otherFolder());
  EXPECT_EQ(fileCount(), 1u);
  EXPECT_EQ(library.chooseFolder(bench.otherFolder() + "/not/yet"), Choice::taken);
  EXPECT_FALSE(fs::exists(bench.otherFolder() + "/not")) << "made when it is needed";
  std::ofstream(bench.folder / "file") << "in the way";
  for (const std::string& folder :
       {(bench.folder / "file").string(), (bench.folder / "file/sub").string(), std::string("/proc")}) {
    EXPECT_EQ(library.chooseFolder(folder), Choice::refused) << folder;
    EXPECT_EQ(library.chosenFolder(), bench.otherFolder() + "/not/yet");
  }
  library.useDefaultFolder();
  EXPECT_EQ(library.chosenFolder(), std::nullopt);
  runtime.settle();
  EXPECT_EQ(*library.folderInUse, bench.defaultFolder());
}

TEST_F(RecordingsLibraryTest, AFolderThatFailsIsUnavailableUntilItWorksAgain) {
  const std::string drive = (bench.folder / "drive").string();
  bench.settings.set(RecordingsFolder::kPathKey, drive);
  EXPECT_EQ(library.recordingsFolder(), drive);
  EXPECT_FALSE(*library.folderUnavailable);
  fs::remove_all(drive);
  std::ofstream(drive) << "no folder any more";
  EXPECT_EQ(library.recordingsFolder(), bench.defaultFolder());
  EXPECT_TRUE(*library.folderUnavailable);
  EXPECT_EQ(*library.folderInUse, bench.defaultFolder());
  EXPECT_TRUE(
      bench.logged("Sonmere: chosen recordings folder not available, recording to the default folder"));

  put(inDefault("A"));
  startWatching();
  EXPECT_TRUE(*library.folderUnavailable);
  EXPECT_EQ(watch->folder, bench.defaultFolder());
  EXPECT_EQ(fileCount(), 1u);
  runtime.advance(std::chrono::seconds(60));
  EXPECT_TRUE(*library.folderUnavailable);
  fs::remove(drive);
  put(drive + "/" + named("B"));
  put(drive + "/" + named("C"));
  runtime.advance(std::chrono::seconds(6));
  EXPECT_FALSE(*library.folderUnavailable);
  EXPECT_EQ(watch->folder, drive);
  EXPECT_EQ(fileCount(), 2u);
}

TEST_F(RecordingsLibraryTest, ChangesOfRecordingsMakeOneScanForABurst) {
  put(inDefault("A"));
  startWatching();
  int scans = 0;
  const auto states = library.isScanning.observe([&](bool isScanning) { scans += isScanning; });
  watch->changed(".sonmere-write-test-1");
  watch->changed("notes.txt");
  runtime.advance(std::chrono::seconds(2));
  EXPECT_EQ(scans, 0);
  for (int i = 0; i < 30; ++i) {
    put(inDefault("B" + std::to_string(i)));
    watch->changed(named("B" + std::to_string(i)));
    runtime.advance(fromMilliseconds(10));
  }
  runtime.advance(std::chrono::seconds(2));
  EXPECT_EQ(scans, 1);
  EXPECT_EQ(fileCount(), 31u);
  library.stopWatching();
  EXPECT_FALSE(watch->changed) << "let go";
}

TEST_F(RecordingsLibraryTest, AWatchedFolderThatVanishesComesBack) {
  put(inDefault("A"));
  startWatching();
  fs::remove_all(bench.defaultFolder());
  const auto changed = watch->changed;
  watch->folder.clear();
  changed("");
  runtime.advance(std::chrono::seconds(20));
  EXPECT_EQ(fileCount(), 0u);
  put(inDefault("A"));
  put(inDefault("B"));
  runtime.advance(std::chrono::seconds(6));
  EXPECT_EQ(fileCount(), 2u);
  EXPECT_EQ(watch->folder, bench.defaultFolder());
}

TEST_F(RecordingsLibraryTest, AnInterruptedRecordingIsMendedOnceItHasRested) {
  put(inDefault("A"), std::chrono::seconds(20));
  startWatching();
  EXPECT_EQ(library.sessions->front().files[0].durationSeconds, 0);
  runtime.advance(std::chrono::seconds(45));
  EXPECT_GT(library.sessions->front().files[0].durationSeconds, 0);
}

TEST_F(RecordingsLibraryTest, ALibraryThatGoesDuringItsScanIsNotMissed) {
  put(inDefault("A"));
  auto other = std::make_unique<RecordingsLibrary>(bench.context);
  other->startWatching(nullptr);
  other = nullptr;
  runtime.settle();
}

TEST(RecordingsFolderText, NamesTheDefaultFolderAsTheUserKnowsIt) {
  const char* home = std::getenv("HOME");
  const std::string saved = home ? home : "";
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(recordingsFolderUnavailableText("/home/someone/Music/Sonmere Recordings"),
            "Your recordings folder isn't available right now. Is the drive connected? Until it's back, new "
            "recordings are saved to ~/Music/Sonmere Recordings");
  EXPECT_EQ(pickedFolderUnavailableText("/data/takes"),
            "This folder isn't available right now. Is the drive connected? Until it's back, new recordings "
            "are saved to /data/takes");
  home ? setenv("HOME", saved.c_str(), 1) : unsetenv("HOME");
}

// Waits for the next name that the watch tells.
class LiveInotifyFolderWatch : public testing::Test {
 protected:
  LiveInotifyFolderWatch() : watcher(std::move(*FileDescriptorWatcher::create(runtime.mainQueue()))) {
    watch = std::move(*InotifyFolderWatch::create(*watcher));
  }
  void follow(const std::string& path) {
    const auto watched = watch->watch(path, [this](const std::string& name) {
      told.push_back(name);
      runtime.stop();
    });
    ASSERT_TRUE(watched) << watched.error().description;
  }
  std::vector<std::string> next() {
    told.clear();
    while (told.empty()) runtime.run();
    return told;
  }

  TemporaryFolder folder;
  LiveRuntime runtime;
  std::unique_ptr<FileDescriptorWatcher> watcher;
  std::unique_ptr<FolderWatch> watch;
  std::vector<std::string> told;
};

TEST_F(LiveInotifyFolderWatch, TellsFilesThatComeAndGoAndTheEndOfTheFolder) {
  using Names = std::vector<std::string>;
  fs::create_directory(folder / "one");
  follow((folder / "one").string());
  std::ofstream(folder / "one/a") << "text";
  EXPECT_EQ(next(), Names{"a"});
  fs::rename(folder / "one/a", folder / "one/b");
  EXPECT_EQ(next(), (Names{"a", "b"}));
  fs::remove(folder / "one/b");
  EXPECT_EQ(next(), Names{"b"});
  fs::rename(folder / "one", folder / "other");
  EXPECT_EQ(next(), Names{""});

  EXPECT_EQ(watch->watch((folder / "one").string(), nullptr).error().code, ENOENT);
  fs::create_directory(folder / "one");
  follow((folder / "one").string());
  std::ofstream(folder / "other/c") << "text";
  std::ofstream(folder / "one/d") << "text";
  EXPECT_EQ(next(), Names{"d"}) << "the folder before is watched no more";
  fs::remove_all(folder / "one");
  EXPECT_EQ(next(), Names{""}) << "whatever else happened on the way";
}

}  // namespace
}  // namespace sonmere
