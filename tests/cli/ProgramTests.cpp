// The program as a process: how it starts, how it ends, and who is left waiting.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/InstanceLock.h"
#include "app/PlatformFolders.h"
#include "audio/file/AudioFileReader.h"
#include "audio/file/ReaderError.h"
#include "base/AtomicFile.h"
#include "base/FileDescriptor.h"
#include "control/ControlEndpoint.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// A process of the program; killed with the object if it has not ended.
class Program {
 public:
  // `prepare` runs in the child, before the program.
  explicit Program(
      std::vector<std::string> arguments, const std::function<void()>& prepare = [] {}) {
    int ends[2][2];
    if (pipe2(ends[0], O_CLOEXEC) != 0 || pipe2(ends[1], O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    std::vector<char*> words{const_cast<char*>(SONMERE_PROGRAM)};
    for (std::string& each : arguments) words.push_back(each.data());
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(number, SIG_DFL);
      dup2(ends[0][1], STDOUT_FILENO);
      dup2(ends[1][1], STDERR_FILENO);
      prepare();
      execv(SONMERE_PROGRAM, words.data());
      _exit(127);
    }
    out = FileDescriptor(ends[0][0]);
    err = FileDescriptor(ends[1][0]);
    close(ends[0][1]);
    close(ends[1][1]);
  }
  ~Program() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const { kill(pid_, number); }
  // The wait status of its end.
  int wait() {
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = 0;
    return status;
  }
  bool hasEnded() const {
    siginfo_t info{};
    return waitid(P_PID, id_t(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid_;
  }
  // Everything up to a line with this text, or the end.
  static std::string readUntil(const FileDescriptor& from, const std::string& text) {
    std::string all;
    char byte = 0;
    while ((all.find(text) == std::string::npos || !all.ends_with('\n')) && ::read(from.get(), &byte, 1) == 1)
      all += byte;
    return all;
  }
  static std::string readAll(const FileDescriptor& from) { return readUntil(from, std::string(1, '\0')); }

  FileDescriptor out, err;

 private:
  pid_t pid_ = 0;
};

// With settings, state and socket of its own.
struct ProgramTest : testing::Test {
  ProgramTest() {
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"}) {
      setenv(name, path(name).c_str(), 1);
      std::filesystem::create_directory(path(name));
    }
    setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
    setenv("SONMERE_RESOURCES", SONMERE_SOURCE_DIR "/resources", 1);
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  bool isReady(const Program& program) const {
    return Program::readUntil(program.out, "Running on").contains("Running on");
  }
  static int statusOf(std::vector<std::string> arguments) {
    Program program(std::move(arguments));
    Program::readAll(program.out);
    const int status = program.wait();
    if (status != 0) ADD_FAILURE() << Program::readAll(program.err);
    return status;
  }

  // What it prints, on either output.
  static std::string textOf(std::vector<std::string> arguments, int expected = 0) {
    Program program(std::move(arguments));
    const std::string text = Program::readAll(program.out) + Program::readAll(program.err);
    EXPECT_EQ(program.wait(), W_EXITCODE(expected, 0)) << text;
    return text;
  }

  TemporaryFolder folder;
  const std::vector<std::string> run{"run", "--platform", "simulated", "--demo-apps"};
};

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// By the signal where that is what its caller has to know: a shell's loop goes on after any other end.
TEST_F(ProgramTest, ItEndsBySignalsAsItsCallerExpectsAndLeavesWholeFiles) {
  struct Case {
    std::vector<int> signals;
    int status;
  };
  const Case cases[] = {{{SIGTERM}, 0}, {{SIGINT}, SIGINT}, {{SIGHUP, SIGHUP}, SIGHUP}};
  for (const Case& each : cases) {
    Program program(run +
                    std::vector<std::string>{"--record", "2", "--route", "music=2", "--out", path("out")});
    ASSERT_TRUE(isReady(program));
    for (const int signal : each.signals) program.signal(signal);
    Program::readAll(program.out);
    EXPECT_EQ(program.wait(), each.status);
    EXPECT_FALSE(std::filesystem::exists(path("XDG_RUNTIME_DIR/sonmere/control.sock")));
    for (const auto& entry : std::filesystem::directory_iterator(path("out"))) {
      const auto reader = openAudioFile(entry.path());
      EXPECT_TRUE(reader || isFault(reader.error(), ReaderFault::noAudio)) << reader.error().description;
    }
    std::filesystem::remove_all(path("out"));
  }
}

// A log that nobody reads, or that nobody can read any more, neither holds the program up nor ends it.
TEST_F(ProgramTest, NobodyHasToReadWhatItPrints) {
  const auto tiny = [] {
    fcntl(STDERR_FILENO, F_SETPIPE_SZ, 4096);
    const std::string full(4096, '.');
    if (::write(STDERR_FILENO, full.data(), full.size()) != 4096) _exit(126);
  };
  Program unread(run + std::vector<std::string>{"-v"}, tiny);
  ASSERT_TRUE(isReady(unread));
  EXPECT_EQ(statusOf({"route", "music", "2"}), 0) << "which is logged";
  unread.signal(SIGTERM);
  Program::readAll(unread.out);
  EXPECT_EQ(unread.wait(), 0);

  Program closed(run + std::vector<std::string>{"-v"});
  ASSERT_TRUE(isReady(closed));
  closed.out = {};
  closed.err = {};
  EXPECT_EQ(statusOf({"route", "music", "2"}), 0);
  EXPECT_EQ(statusOf({"status"}), 0);
  EXPECT_EQ(statusOf({"quit"}), 0);
  EXPECT_EQ(closed.wait(), W_EXITCODE(1, 0)) << "its table had nobody to read it";
}

TEST_F(ProgramTest, OneProgramRunsHoweverItIsControlledAndQuitWaitsForItsEnd) {
  Program first(run + std::vector<std::string>{"--no-control"});
  ASSERT_TRUE(isReady(first));
  for (const auto& options : {std::vector<std::string>{}, {"--no-control"}}) {
    Program second(run + options);
    EXPECT_EQ(Program::readAll(second.err),
              "sonmere run: Sonmere is running already (process " + std::to_string(first.pid()) + ")\n");
    EXPECT_EQ(second.wait(), W_EXITCODE(1, 0));
  }
  first.signal(SIGTERM);
  Program::readAll(first.out);
  first.wait();
  for (int round = 0; round < 3; ++round) {
    Program next(run + std::vector<std::string>{"--record", "2", "--route", "music=2", "--out", path("out")});
    ASSERT_TRUE(isReady(next)) << Program::readAll(next.err);
    EXPECT_EQ(statusOf({"quit"}), 0);
    EXPECT_TRUE(next.hasEnded());
    next.wait();
  }
}

TEST_F(ProgramTest, ARunOnTheInventedMachineLeavesTheSettingsAsTheyAre) {
  ASSERT_EQ(statusOf({"settings", "set", "sonmere.volumeMixer.isEnabled", "off"}), 0);
  const std::string before = *readWholeFile(path("settings.json"));
  Program program(run);
  ASSERT_TRUE(isReady(program));
  for (const std::vector<std::string>& change :
       {std::vector<std::string>{"volume", "music", "50%"}, {"route", "beat", "2"}, {"mixer", "off"}})
    EXPECT_EQ(statusOf(change), 0) << change[0];
  EXPECT_EQ(*readWholeFile(path("settings.json")), before);
  EXPECT_EQ(statusOf({"settings", "set", "sonmere.boostAllowed", "off"}), 0);
  EXPECT_EQ(statusOf({"quit"}), 0);
  EXPECT_TRUE(readWholeFile(path("settings.json"))->contains("boostAllowed")) << "what was asked for is kept";
}

TEST_F(ProgramTest, TheMicrophoneIsRecordedAloneAndEveryPartBearsTheNewName) {
  Program program(run + std::vector<std::string>{"--out", path("out")});
  ASSERT_TRUE(isReady(program));
  EXPECT_EQ(statusOf({"mic", "on"}), 0);
  EXPECT_TRUE(textOf({"record", "start", "mic", "--split", "1"}).contains("/Sonmere Mic \u2014 "));
  for (int i = 0; i < 1000 && !textOf({"record", "status"}).contains("Part 2"); ++i) {
  }
  const std::string stopped = textOf({"record", "stop", "mic", "--name", "Talk"});
  std::size_t lines = 0;
  std::istringstream paths(stopped);
  for (std::string file; std::getline(paths, file); ++lines) {
    EXPECT_TRUE(file.contains("/out/Talk")) << file;
    EXPECT_TRUE(std::filesystem::exists(file)) << file;
  }
  EXPECT_GE(lines, 2u) << stopped;
  EXPECT_EQ(statusOf({"quit"}), 0);
}

// What the engines hold in memory comes from the file and goes back there, so they have to be made anew.
TEST_F(ProgramTest, SettingsAreTakenAwayAndBackWhileItRunsAndRecordingsAreNot) {
  Program program(run + std::vector<std::string>{"--out", path("out")});
  ASSERT_TRUE(isReady(program));
  for (const std::vector<std::string>& change :
       {std::vector<std::string>{"route", "music", "2"}, {"boost", "off"}, {"pin", "music"}})
    EXPECT_EQ(statusOf(change), 0) << change[0];
  EXPECT_EQ(statusOf({"settings", "export", path("mine.json")}), 0);
  EXPECT_EQ(textOf({"settings", "export", path("mine.json")}, 2).find("exists") == std::string::npos, false);
  EXPECT_EQ(statusOf({"settings", "import", path("mine.json")}), 0);
  EXPECT_EQ(textOf({"settings", "get", "sonmere.boostAllowed"}), "false\n")
      << "it has started anew with them";
  EXPECT_FALSE(program.hasEnded()) << "as the same process";
  EXPECT_EQ(statusOf({"reset", "--routes"}), 0);
  const std::string after = textOf({"settings", "export", "-"});
  EXPECT_FALSE(after.contains("sonmere.perapp.buses")) << after;
  EXPECT_TRUE(after.contains("pinnedApps")) << "only where sound goes";
  EXPECT_EQ(statusOf({"route", "music", "2"}), 0);
  EXPECT_EQ(statusOf({"record", "start", "2"}), 0);
  EXPECT_TRUE(textOf({"reset", "--all"}, 1).contains("a recording runs"));
  EXPECT_EQ(statusOf({"record", "stop", "2"}), 0);
  EXPECT_EQ(statusOf({"reset", "--all"}), 0);
  EXPECT_FALSE(readWholeFile(path("settings.json"))->contains("pinnedApps"));
  EXPECT_EQ(statusOf({"uninstall", "--yes"}), 0);
  EXPECT_TRUE(program.hasEnded());
  EXPECT_FALSE(std::filesystem::is_empty(path("out")));
  EXPECT_FALSE(std::filesystem::exists(path("settings.json")));
  EXPECT_TRUE(textOf({"uninstall", "--dry-run"}).contains("nothing of Sonmere"));
}

// Nothing is set up in silence out of a build tree; what the user asks for holds.
TEST_F(ProgramTest, TheStartWithTheSessionIsTurnedOnAndOffByTheUser) {
  const auto status = [] {
    Program program({"login-item", "status", "--json"});
    const auto text = Program::readAll(program.out);
    EXPECT_EQ(program.wait(), 0);
    return bool(nlohmann::json::parse(text)["enabled"]);
  };
  EXPECT_FALSE(status());
  EXPECT_EQ(statusOf({"login-item", "on"}), 0);
  EXPECT_TRUE(status());
  ASSERT_FALSE(std::filesystem::is_empty(path("XDG_CONFIG_HOME/autostart")));
  const auto file = *std::filesystem::directory_iterator(path("XDG_CONFIG_HOME/autostart"));
  EXPECT_TRUE(readWholeFile(file.path())->contains("\"run\" \"--at-login\""));
  EXPECT_EQ(statusOf({"login-item", "off"}), 0);
  EXPECT_FALSE(status());
  const auto settings = nlohmann::json::parse(*readWholeFile(path("settings.json")));
  EXPECT_EQ(settings["launchAtLogin"], false);
  EXPECT_EQ(settings["didAutoRegisterLoginItem"], true) << "never set up again by itself";
  Program atLogin(run + std::vector<std::string>{"--at-login"});
  ASSERT_TRUE(isReady(atLogin));
}

// No invented machine takes the place of the user's server.
TEST_F(ProgramTest, ItWaitsForTheAudioServerAndSaysSo) {
  Program program({}, [] { setenv("PIPEWIRE_REMOTE", "nowhere", 1); });
  EXPECT_EQ(
      Program::readUntil(program.err, "Waiting"),
      "sonmere run: Waiting for the pipewire audio server, which does not answer yet; --platform simulated "
      "runs on an embedded one\n");
  EXPECT_EQ(statusOf({"status"}), 0);
  program.signal(SIGTERM);
  Program::readAll(program.out);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(path("XDG_CONFIG_HOME"))) << "nothing is set up in silence";
}

// An hour and a half of silence, which takes no room on the disk and a while to read.
void makeLongFile(const std::string& file) {
  constexpr std::uint32_t kBytes = 1 << 30, kRate = 48000, kFrameBytes = 4;
  std::string head("RIFF....WAVEfmt ");
  const auto put = [&](std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) head.push_back(char(number >> (8 * i)));
  };
  for (const auto& [number, bytes] : {std::pair{16u, 4},
                                      {1u, 2},
                                      {2u, 2},
                                      {kRate, 4},
                                      {kRate * kFrameBytes, 4},
                                      {kFrameBytes, 2},
                                      {16u, 2}})
    put(number, bytes);
  head += "data";
  put(kBytes, 4);
  for (int i = 0; i < 4; ++i) head[std::size_t(4 + i)] = char((kBytes + 36) >> (8 * i));
  std::ofstream(file, std::ios::binary) << head;
  std::filesystem::resize_file(file, head.size() + kBytes);
}

// What is measured when Ctrl-C comes is the last, whatever else was asked for.
TEST_F(ProgramTest, CtrlCEndsACommandOnSeveralFiles) {
  for (const char* name : {"a.wav", "b.wav"}) makeLongFile(path(name));
  Program program({"info", "--loudness", path("a.wav"), path("b.wav")});
  ASSERT_TRUE(Program::readUntil(program.out, "size ").contains("a.wav"));
  program.signal(SIGINT);
  EXPECT_EQ(Program::readAll(program.out), "");
  const std::string said = Program::readAll(program.err);
  EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
  EXPECT_EQ(program.wait(), SIGINT);
}

// Those that start at the same moment: at most one at a time has it.
TEST(InstanceLock, StartersAtOnceNeverBothHaveIt) {
  TemporaryFolder folder;
  constexpr int kStarters = 4, kRounds = 100;
  std::vector<pid_t> starters;
  for (int i = 0; i < kStarters; ++i) {
    starters.push_back(fork());
    if (starters.back() != 0) continue;
    int taken = 0;
    while (taken < kRounds) {
      const auto lock = InstanceLock::take(folder / "run");
      if (!lock) {
        if (lock.error().code != InstanceLock::kAlreadyRunning) _exit(2);
        continue;
      }
      ++taken;
      const FileDescriptor alone(open((folder / "alone").c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600));
      if (!alone.valid()) _exit(1);
      unlink((folder / "alone").c_str());
    }
    _exit(0);
  }
  for (const pid_t starter : starters) {
    int status = -1;
    waitpid(starter, &status, 0);
    EXPECT_EQ(status, 0);
  }
}

TEST(InstanceLock, AProcessThatHasEndedIsNotNamed) {
  TemporaryFolder folder;
  const pid_t dead = fork();
  if (dead == 0) _exit(0);
  waitpid(dead, nullptr, 0);
  std::filesystem::create_directory(folder / "run");
  const std::string lock = (folder / "run" / InstanceLock::kName).string();
  std::ofstream(lock) << dead << "\n";
  const FileDescriptor other(open(lock.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(InstanceLock::take(folder / "run").error().description, "Sonmere is running already");
}

// Every program of the user decides alike where the one program is found.
TEST_F(ProgramTest, AFolderOfTheSessionThatCantBeUsedIsToldAndNotMade) {
  const std::string runtime = path("XDG_RUNTIME_DIR"), fallback = path("XDG_STATE_HOME/sonmere/control");
  EXPECT_EQ(chooseControlFolder().path, runtime + "/sonmere");
  EXPECT_FALSE(chooseControlFolder().note);
  const auto expectFallback = [&](const std::string& why) {
    const ControlFolder chosen = chooseControlFolder();
    EXPECT_EQ(chosen.path, fallback);
    ASSERT_TRUE(chosen.note);
    EXPECT_TRUE(chosen.note->contains(why)) << *chosen.note;
  };
  if (geteuid() == 0) {
    std::filesystem::create_directory(runtime + "/sonmere");
    ASSERT_EQ(chown((runtime + "/sonmere").c_str(), 12345, 12345), 0);
    expectFallback("belongs to another user; remove it with: sudo rm -r " + runtime + "/sonmere");
    ASSERT_EQ(chown(runtime.c_str(), 12345, 12345), 0);
    expectFallback("XDG_RUNTIME_DIR (" + runtime + ") belongs to another user");
    ASSERT_EQ(chown(path("HOME").c_str(), 12345, 12345), 0);
    Program root(run);
    EXPECT_TRUE(Program::readAll(root.err).contains("start it as that user, or with sudo -H"));
    EXPECT_EQ(root.wait(), W_EXITCODE(1, 0));
    ASSERT_EQ(chown(path("HOME").c_str(), 0, 0), 0);
  }
  std::filesystem::remove_all(runtime);
  expectFallback("XDG_RUNTIME_DIR (" + runtime + ") does not exist");
  Program program(run);
  ASSERT_TRUE(isReady(program));
  EXPECT_EQ(statusOf({"quit"}), 0);
  EXPECT_FALSE(std::filesystem::exists(runtime));
}

}  // namespace
}  // namespace sonmere
