#include "recording/library/RecordingScanner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <barrier>
#include <csignal>
#include <fstream>
#include <thread>

#include "WavBytes.h"
#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

constexpr Date kNow = VirtualRuntime::kDefaultStart;
const std::string kStamp = "2026-01-01 10-00-00";

std::string named(const std::string& name, const std::string& extension = ".wav") {
  return name + " \u2014 " + kStamp + extension;
}

class RecordingScannerTest : public testing::Test {
 protected:
  RecordingScannerTest() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  // A file that was changed this long ago.
  void put(const std::string& name, const std::string& bytes, Duration age = std::chrono::seconds(61)) {
    std::ofstream(path(name), std::ios::binary) << bytes;
    const auto time = (kNow - age).time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const timespec stamp{seconds.count(), (time - seconds).count()};
    const timespec times[] = {stamp, stamp};
    ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0);
  }
  std::string content(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  bool isMended(const std::string& name) const { return content(name).substr(40, 4) != little(0, 4); }
  RecordingScan scan() { return scanner.scan(folder.path().string(), kNow); }
  // Names of all files found, session after session.
  std::vector<std::string> found() {
    std::vector<std::string> names;
    for (const auto& session : scan().sessions)
      for (const auto& file : session.files) names.push_back(fs::path(file.url).filename().string());
    return names;
  }

  TemporaryFolder folder;
  Log log;
  std::vector<std::string> lines;
  RecordingScanner scanner{log};
};

TEST_F(RecordingScannerTest, GroupsByStampAndSortsSessionsByTimeAndFilesByName) {
  const std::string second = wavFile(wavFormat(), 192000, std::string(192000, 'a'));
  for (const char* name :
       {"Sonmere Track 10 \u2014 2026-01-01 10-00-00.wav", "Sonmere Track 2 \u2014 2026-01-01 10-00-00.wav",
        "Mic \u2014 Desk \u2014 2026-01-01 10-00-00.wav", "Sonmere Recording \u2014 2026-01-02 09-00-00.m4a",
        "Old \u2014 2025-12-31 23-59-59.wav", "Odd \u2014 2026-13-45 99-99-99.wav", "Sonmere Track 3.wav",
        "Loud \u2014 2026-01-01 10-00-00.WAV", "Mic \u2014 2026-01-01 10-00-00.wav",
        "MIC 02 \u2014 2026-01-01 10-00-00.wav", "mic 1 \u2014 2026-01-01 10-00-00.wav",
        ".sonmere-edits.json"})
    put(name, second);
  const RecordingScan result = scan();
  ASSERT_EQ(result.sessions.size(), 4u);
  const auto stamps = {"2026-01-02 09-00-00", "2026-01-01 10-00-00", "2025-12-31 23-59-59",
                       "2026-13-45 99-99-99"};
  EXPECT_TRUE(std::ranges::equal(result.sessions, stamps, {}, &RecordingSession::timestampString));
  const auto names = {"Mic", "mic 1", "MIC 02", "Mic \u2014 Desk", "Track 2", "Track 10"};
  EXPECT_TRUE(std::ranges::equal(result.sessions[1].files, names, {}, &RecordingFile::displayName));
  const RecordingFile& file = result.sessions[1].files[4];
  EXPECT_EQ(file.url, path("Sonmere Track 2 \u2014 2026-01-01 10-00-00.wav"));
  EXPECT_EQ(file.fileSize, second.size());
  EXPECT_DOUBLE_EQ(file.durationSeconds, 1);
  EXPECT_EQ(result.sessions[0].files[0].format, RecordingFormat::m4a);
  EXPECT_EQ(result.sessions[3].timestamp, Date::min());
}

TEST_F(RecordingScannerTest, AFolderThatIsNotThereIsEmptyAndOneThatCantBeListedSaysWhy) {
  const RecordingScan missing = scanner.scan(path("none"), kNow);
  EXPECT_TRUE(missing.sessions.empty());
  EXPECT_FALSE(missing.error);
  put("plain", "a file");
  const RecordingScan plain = scanner.scan(path("plain"), kNow);
  EXPECT_TRUE(plain.sessions.empty());
  ASSERT_TRUE(plain.error);
  EXPECT_NE(plain.error->description.find(path("plain")), std::string::npos);
}

TEST_F(RecordingScannerTest, MendsWhatRestedForMoreThanAMinute) {
  put(named("Rested"), interruptedWav(6044), std::chrono::seconds(60) + std::chrono::nanoseconds(1));
  put(named("Live"), interruptedWav(6044), std::chrono::seconds(60));
  put(named("Small"), interruptedWav(4104));
  put(named("Smallest"), interruptedWav(4105));
  put(named("Upper", ".WAV"), interruptedWav(6044));
  put("Without a stamp.wav", interruptedWav(6044));
  put(named("Ahead"), interruptedWav(6044), -std::chrono::hours(5));
  put(named("Far ahead"), interruptedWav(6044));
  const timespec year2446{15'000'000'000, 0}, times[] = {year2446, year2446};
  ASSERT_EQ(utimensat(AT_FDCWD, path(named("Far ahead")).c_str(), times, 0), 0);
  const RecordingScan result = scan();
  EXPECT_TRUE(isMended(named("Rested")));
  EXPECT_TRUE(isMended(named("Smallest")));
  for (const std::string& name : {named("Live"), named("Small"), named("Upper", ".WAV"),
                                  std::string("Without a stamp.wav"), named("Ahead"), named("Far ahead")})
    EXPECT_FALSE(isMended(name)) << name;
  EXPECT_EQ(result.repairs.size(), 2u);
  EXPECT_EQ(std::ranges::count(lines, "Sonmere: repaired interrupted recording " + named("Rested") +
                                          " (6000 bytes of audio)"),
            1);
  ASSERT_TRUE(result.nextRepairIn);
  EXPECT_GT(*result.nextRepairIn, Duration::zero());
  EXPECT_LT(*result.nextRepairIn, std::chrono::seconds(5));
  const auto rested = std::ranges::find(result.sessions[0].files, "Rested", &RecordingFile::displayName);
  ASSERT_NE(rested, result.sessions[0].files.end());
  EXPECT_DOUBLE_EQ(rested->durationSeconds, 1500 / 48000.0);
  EXPECT_EQ((*openAudioFile(path(named("Rested"))))->frameCount(), 1500);
  EXPECT_TRUE(scan().repairs.empty()) << "once is enough";
}

TEST_F(RecordingScannerTest, ALargeFileThatWasInterruptedOpensAfterwards) {
  put(named("Large"), rf64File(0, 0xFFFFFFFF, std::string(192000, 'a')));
  EXPECT_EQ(scan().repairs.size(), 1u);
  auto reader = openAudioFile(path(named("Large")));
  ASSERT_TRUE(reader) << reader.error().description;
  EXPECT_EQ((*reader)->frameCount(), 48000);
}

TEST_F(RecordingScannerTest, HangsOnNoPipeAndWritesThroughNoLink) {
  const TemporaryFolder elsewhere;
  const std::string outside = (elsewhere / "outside.wav").string();
  put(named("Original"), interruptedWav(6044));
  fs::rename(path(named("Original")), outside);
  ASSERT_EQ(mkfifo(path(named("Pipe")).c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  fs::create_directory(path(named("Folder")));
  fs::create_symlink(outside, path(named("Link")));
  fs::create_symlink(path("pipe"), path(named("To a pipe")));
  fs::create_symlink("/dev/zero", path(named("To a device", ".m4a")));
  fs::create_symlink(path("nowhere"), path(named("To nothing")));
  fs::create_symlink(path(named("Loop")), path(named("Loop")));
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{AF_UNIX, {}};
  path(named("S")).copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(found(), std::vector<std::string>{named("Link")});
  EXPECT_TRUE(scan().repairs.empty());
  std::ifstream file(outside, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), interruptedWav(6044));
  close(socket);
}

TEST_F(RecordingScannerTest, GarbageIsListedWithoutALength) {
  put(named("Empty"), "");
  put(named("Empty", ".m4a"), "");
  put(named("Text"), std::string(10000, 'x'));
  put(named("Text", ".m4a"), std::string(10000, 'x'));
  put(named("Short"), "RIFF");
  std::string huge = interruptedWav(6000);
  huge.replace(16, 4, little(0xFFFFFFFE, 4));
  put(named("Huge chunk"), huge);
  const RecordingScan result = scan();
  ASSERT_EQ(result.sessions.size(), 1u);
  EXPECT_EQ(result.sessions[0].files.size(), 6u);
  for (const auto& file : result.sessions[0].files) EXPECT_EQ(file.durationSeconds, 0) << file.url;
  EXPECT_TRUE(result.repairs.empty());
}

// Beyond the limit nothing can be written, wherever in the file.
TEST_F(RecordingScannerTest, ARepairThatFailsIsToldOnceAndTriedAgainWhenTheFileChangedOrAfterwards) {
  put(named("Stuck"), interruptedWav(6044));
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto withoutWrites = [&](auto&& work) {
    rlimit none = before;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
    auto result = work();
    setrlimit(RLIMIT_FSIZE, &before);
    return result;
  };
  const RecordingScan result = withoutWrites([&] { return scan(); });
  ASSERT_EQ(result.repairs.size(), 1u);
  ASSERT_TRUE(result.repairs[0].error);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with("Sonmere: could not repair " + named("Stuck") + ": ")) << lines[0];
  EXPECT_EQ(content(named("Stuck")), interruptedWav(6044));
  EXPECT_TRUE(scan().repairs.empty()) << "not over and over";
  scanner.forgetFailures();
  EXPECT_EQ(scan().repairs.size(), 1u);
  EXPECT_TRUE(isMended(named("Stuck")));
}

TEST_F(RecordingScannerTest, ProgramsThatScanAtOnceMendEachFileOnce) {
  constexpr int kFiles = 60;
  for (int i = 0; i < kFiles; ++i) put(named("Take " + std::to_string(i)), interruptedWav(6044));
  std::vector<pid_t> others;
  for (int i = 0; i < 3; ++i) {
    others.push_back(fork());
    if (others.back() == 0) _exit(int(scan().repairs.size()));
  }
  int mended = int(scan().repairs.size());
  for (const pid_t other : others) {
    int status = 0;
    waitpid(other, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    mended += WEXITSTATUS(status);
  }
  EXPECT_EQ(mended, kFiles);
  for (int i = 0; i < kFiles; ++i) {
    const std::string bytes = content(named("Take " + std::to_string(i)));
    EXPECT_EQ(bytes.substr(0, 8) + bytes.substr(40, 4), "RIFF" + little(6036, 4) + little(6000, 4));
    EXPECT_EQ(bytes.substr(44), interruptedWav(6044).substr(44));
  }
}

// Both look at once at a single file: one of them mends it, and neither lists it as if it held nothing.
TEST_F(RecordingScannerTest, TwoThatScanAtOnceNeverLoseAFileBetweenThem) {
  constexpr int kRounds = 500;
  RecordingScanner other(log);
  std::barrier together(2);
  std::vector<RecordingScan> others(kRounds);
  std::jthread second([&] {
    for (RecordingScan& result : others) {
      together.arrive_and_wait();
      result = other.scan(folder.path().string(), kNow);
      together.arrive_and_wait();
    }
  });
  for (const RecordingScan& theirs : others) {
    put(named("Take"), interruptedWav(6044));
    together.arrive_and_wait();
    const RecordingScan ours = scan();
    together.arrive_and_wait();
    EXPECT_EQ(ours.repairs.size() + theirs.repairs.size(), 1u);
    EXPECT_TRUE(isMended(named("Take")));
    for (const RecordingScan* each : {&ours, &theirs})
      EXPECT_GT(each->sessions.at(0).files.at(0).durationSeconds, 0);
  }
}

TEST_F(RecordingScannerTest, AFileThatAnotherProgramIsMendingIsLeftToItAndLookedAtAgainLater) {
  put(named("Busy"), interruptedWav(6044));
  const FileDescriptor other(open(path(named("Busy")).c_str(), O_RDONLY));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  const FileDescriptor notes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(inotify_add_watch(notes.get(), folder.path().c_str(), IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB), 0);
  const RecordingScan left = scan();
  EXPECT_TRUE(left.repairs.empty());
  EXPECT_FALSE(isMended(named("Busy")));
  ASSERT_TRUE(left.nextRepairIn);
  EXPECT_GE(*left.nextRepairIn, std::chrono::seconds(10));
  char events[256];
  EXPECT_EQ(read(notes.get(), events, sizeof events), -1) << "or who watches the folder scans again for ever";
  flock(other.get(), LOCK_UN);
  EXPECT_EQ(scan().repairs.size(), 1u);
}

TEST_F(RecordingScannerTest, AFolderThatGoesAwayMeanwhileCostsOnlyWhatIsGone) {
  const std::string inner = path("inner");
  for (const bool isDeleted : {false, true}) {
    fs::create_directory(inner);
    for (int i = 0; i < 10; ++i) put("inner/" + named("Take " + std::to_string(i)), interruptedWav(6044));
    std::size_t calls = 0;
    const RecordingScan result = scanner.scan(inner, kNow, nullptr, [&](double) {
      if (++calls == 1) isDeleted ? void(fs::remove_all(inner)) : fs::rename(inner, path("renamed"));
    });
    EXPECT_EQ(calls, 10u);
    ASSERT_EQ(result.sessions.size(), 1u);
    EXPECT_EQ(result.sessions[0].files.size(), isDeleted ? 1u : 10u);
    EXPECT_FALSE(result.error);
  }
}

TEST_F(RecordingScannerTest, ACancelledScanEndsEarly) {
  for (int i = 0; i < 10; ++i) put(named("Take " + std::to_string(i)), "");
  std::atomic<bool> cancelled = false;
  scanner.scan(folder.path().string(), kNow, &cancelled, [&](double fraction) {
    EXPECT_LE(fraction, 0.31);
    cancelled = fraction > 0.25;
  });
}

}  // namespace
}  // namespace sonmere
