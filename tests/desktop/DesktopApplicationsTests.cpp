#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "base/LiveRuntime.h"
#include "platform/desktop/DesktopApplications.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace {

constexpr Duration kLong = fromSeconds(30);

// Of this process alone: tests that run beside it have sleepers too.
const std::string sleeper = "sleeper" + std::to_string(getpid());

// A child that sleeps until it is killed, under a name of its own.
class Child {
 public:
  explicit Child(const std::filesystem::path& program) {
    std::filesystem::copy_file("/usr/bin/sleep", program);
    int ready[2];
    EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
      execl(program.c_str(), program.c_str(), "600", nullptr);
      _exit(1);
    }
    close(ready[1]);
    char none;
    EXPECT_EQ(read(ready[0], &none, 1), 0);  // closes when the program runs
    close(ready[0]);
  }
  ~Child() { end(); }
  void end() {
    if (pid_ == 0) return;
    kill(pid_, SIGKILL);
    wait();
  }
  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return status;
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = 0;
};

// Applications of a desktop whose menus hold what the test puts there.
class DesktopApplicationsTest : public testing::Test {
 protected:
  DesktopApplications& applications() {
    if (!applications_)
      applications_ =
          std::make_unique<DesktopApplications>(runtime, log, DesktopEntries::read({folder / "data"}, "C"),
                                                DesktopApplications::Places{"/proc", ""});
    return *applications_;
  }
  void install(const std::string& id, const std::string& more) {
    std::filesystem::create_directories(folder / "data" / "applications");
    std::ofstream(folder / "data" / "applications" / (id + ".desktop"))
        << "[Desktop Entry]\nType=Application\nName=Sleeper\nIcon=moon\n"
        << more;
  }
  bool runUntil(const std::function<bool()>& condition) {
    const auto poll = runtime.mainQueue().repeat(fromMilliseconds(5), [&] {
      if (condition()) runtime.stop();
    });
    const auto limit = runtime.mainQueue().postAfter(kLong, [&] { runtime.stop(); });
    runtime.run();
    poll.cancel();
    limit.cancel();
    return condition();
  }

  TemporaryFolder folder;
  LiveRuntime runtime;
  Log log;
  std::unique_ptr<DesktopApplications> applications_;
};

}  // namespace

TEST_F(DesktopApplicationsTest, ProgramsAreFoundInProcAndByWhatThePlatformTells) {
  install("org.sleep.Sleeper", "Exec=" + (folder / sleeper).string() + " 600\n");
  Child child(folder / sleeper);
  const RunningApplication expected{child.pid(), "org.sleep.Sleeper", "Sleeper", "moon",
                                    ActivationPolicy::regular};
  EXPECT_EQ(applications().applicationWithPID(child.pid()), expected);
  EXPECT_EQ(applications().applicationsWithBundleID("org.sleep.Sleeper"), std::vector{expected});
  EXPECT_EQ(applications().iconForBundleID("org.sleep.Sleeper"), "moon");
  EXPECT_EQ(applications().responsiblePID(child.pid()), child.pid());

  // What the audio server knows goes before what /proc shows.
  applications().appeared(child.pid(), {"net.other", "Other", "pic", 77, false});
  const RunningApplication told{77, "net.other", "Other", "pic", ActivationPolicy::accessory};
  EXPECT_EQ(applications().applicationWithPID(child.pid()), told);
  EXPECT_EQ(applications().responsiblePID(child.pid()), 77);
  EXPECT_EQ(applications().iconForBundleID("net.other"), "pic");
  EXPECT_EQ(applications().applicationWithPID(-1), std::nullopt);
  EXPECT_EQ(applications().iconForBundleID("no.such"), std::nullopt);
}

TEST_F(DesktopApplicationsTest, ObserversHearOfFirstStreamsAndOfTheEndOfProcesses) {
  std::vector<std::string> events;
  const auto launches =
      applications().observeLaunches([&](const auto& a) { events.push_back("+" + a.bundleID); });
  const auto ends =
      applications().observeTerminations([&](const auto& a) { events.push_back("-" + a.bundleID); });
  Child child(folder / sleeper);
  const AppIdentity identity{"sleeper", "Sleeper", "", child.pid(), false};
  applications().appeared(child.pid(), identity);
  applications().appeared(child.pid(), identity);
  applications().appeared(4000001, {"far", "Far", "", 0, false});  // no such process here
  applications().appeared(child.pid(), {"systemsoundserverd", "System Sounds", "", child.pid(), true});
  ASSERT_TRUE(runUntil([&] { return events.size() == 2; }));
  applications().vanished(child.pid());  // pauses
  applications().vanished(4000001);      // nothing else will tell
  ASSERT_TRUE(runUntil([&] { return events.size() == 3; }));
  child.end();
  ASSERT_TRUE(runUntil([&] { return events.size() == 4; }));
  EXPECT_EQ(events, (std::vector<std::string>{"+sleeper", "+far", "-far", "-sleeper"}));
}

TEST_F(DesktopApplicationsTest, LaunchStartsExecInItsFolderAndTerminateEndsIt) {
  const auto program = folder / sleeper;
  std::filesystem::copy_file("/usr/bin/sleep", program);
  install("a.Sleeper", "Exec=\"" + program.string() + "\" 600 %U\n");
  ASSERT_EQ(applications().launch("a.Sleeper"), noErr);
  auto running = applications().applicationsWithBundleID("a.Sleeper");
  ASSERT_EQ(running.size(), 1u);
  const ProcessID pid = running[0].pid;
  EXPECT_EQ(getsid(pid) != getsid(0) && getpgid(pid) != getpgid(0), true) << "it must outlive our terminal";
  EXPECT_EQ(applications().launch("a.Sleeper"), noErr);
  EXPECT_EQ(applications().applicationsWithBundleID("a.Sleeper").size(), 1u) << "it ran already";
  EXPECT_EQ(applications().terminate(pid), noErr);
  EXPECT_TRUE(runUntil([&] { return applications().applicationsWithBundleID("a.Sleeper").empty(); }));
}

// What we start must not count as a part of us.
TEST_F(DesktopApplicationsTest, WhereThereIsASessionManagerTheProgramGetsAControlGroup) {
  const auto note = folder / "note", tool = folder / "systemd-run", manager = folder / "systemd";
  std::ofstream(tool) << "#!/bin/sh\nfor each; do echo \"$each\" >> '" << note.string()
                      << ".part'; done\nmv '" << note.string() << ".part' '" << note.string() << "'\n";
  std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
  std::filesystem::create_directories(manager);
  std::ofstream(manager / "private").put(' ');
  // A program of the test's own: one that runs already would not be started.
  const auto program = folder / sleeper;
  std::filesystem::copy_file("/usr/bin/sleep", program);
  install("my-sleeper", "Exec=" + program.string() + " \"a b\"\n");
  DesktopApplications inSession(runtime, log, DesktopEntries::read({folder / "data"}, "C"),
                                {"/proc", folder.path()});
  const std::string path = getenv("PATH");
  setenv("PATH", (folder.path().string() + ":" + path).c_str(), 1);
  EXPECT_EQ(inSession.launch("my-sleeper"), noErr);
  setenv("PATH", path.c_str(), 1);
  ASSERT_TRUE(runUntil([&] { return std::filesystem::exists(note); }));
  std::ifstream lines(note);
  std::string all;
  for (std::string line; std::getline(lines, line);) all += line + '|';
  EXPECT_TRUE(
      all.starts_with("--user|--scope|--quiet|--collect|--slice=app.slice|"
                      "--unit=app-sonmere-my\\x2dsleeper-"))
      << all;
  EXPECT_TRUE(all.ends_with(".scope|--|" + program.string() + "|a b|")) << all;
}

TEST_F(DesktopApplicationsTest, WhatCannotBeStartedOrEndedIsTold) {
  install("b.Missing", "Exec=/no/such/program\n");
  install("b.Broken", "Exec=\"open\n");
  std::ofstream(folder / "text") << "no program";
  std::filesystem::permissions(folder / "text", std::filesystem::perms::owner_all);
  install("b.Text", "Exec=" + (folder / "text").string() + "\n");
  std::string told;
  log.addSink([&](LogLevel, const std::string& line) { told = line; });
  EXPECT_EQ(applications().launch("b.Missing"), 100000 + ENOENT);
  EXPECT_NE(told.find("Sleeper (/no/such/program) could not be started"), std::string::npos) << told;
  EXPECT_EQ(applications().launch("b.Broken"), 100000 + ENOENT);
  EXPECT_EQ(applications().launch("b.Text"), 100000 + ENOEXEC);
  EXPECT_EQ(applications().launch("no.such"), -600);
  for (const ProcessID none : {0, 1, -1, applications().ownPID(), 4000001})
    EXPECT_EQ(applications().terminate(none), -600) << none;
}

}  // namespace sonmere
