#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/desktop/ProcessFacts.h"
#include "platform/desktop/SandboxProcesses.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace {

// A /proc made of files.
class ProcFolder {
 public:
  void add(int pid, int parent, std::uint64_t startTime, const std::string& comm = "name") {
    const auto folder = folder_ / std::to_string(pid);
    std::filesystem::create_directories(folder);
    std::ofstream stat(folder / "stat");
    stat << pid << " (" << comm << ") S " << parent;
    for (int field = 0; field < 17; ++field) stat << " 0";
    stat << ' ' << startTime << " 0 0\n";
  }
  void write(int pid, const std::string& name, const std::string& text) {
    const auto file = folder_ / std::to_string(pid) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }
  void link(int pid, const std::string& target) {
    std::filesystem::create_symlink(target, folder_ / std::to_string(pid) / "exe");
  }
  void remove(int pid) { std::filesystem::remove_all(folder_ / std::to_string(pid)); }
  std::string path() const { return folder_.path(); }
  ProcessFacts read(int pid) const { return readProcessFacts(pid, folder_.path()); }

 private:
  TemporaryFolder folder_;
};

}  // namespace

TEST(ProcessFacts, EverythingIsReadOfAProcessAndItsAncestors) {
  ProcFolder proc;
  proc.add(70, 60, 900, "odd) S 1 (name");
  proc.link(70, "/opt/app/player (deleted)");
  proc.write(70, "cmdline", std::string("player\0--loop\0\0my song\0", 23));
  proc.write(70, "cgroup", "4:memory:/m\n1:name=systemd:/user.slice/app-player-1.scope\n0::/\n");
  proc.write(70, "root/.flatpak-info", "[Context]\nname=no\n[Application]\nname=org.sand.Box\nruntime=r\n");
  proc.add(60, 1, 100);
  const auto facts = proc.read(70);
  ASSERT_EQ(facts.chain.size(), 2u);
  const ProcessFact& process = facts.chain[0];
  EXPECT_EQ(process.comm, "odd) S 1 (name");
  EXPECT_EQ(process.exe, "/opt/app/player");
  EXPECT_EQ(process.arguments, (std::vector<std::string>{"player", "--loop", "", "my song"}));
  EXPECT_EQ(process.controlGroup, "/user.slice/app-player-1.scope");
  EXPECT_EQ(process.sandboxID, "org.sand.Box");
  EXPECT_EQ(process.startTime, 900u);
  EXPECT_EQ(facts.chain[1].pid, 60);
  EXPECT_EQ(facts.chain[1].sandboxID, "");
}

TEST(ProcessFacts, WhatCannotBeTrueEndsTheChain) {
  ProcFolder proc;
  proc.add(70, 60, 900);
  proc.add(60, 1, 901);  // younger than its child: the number was given away
  proc.add(50, 40, 900);
  proc.add(30, 30, 5);  // its own parent
  proc.add(20, 1, 5);
  proc.write(20, "stat", "20 (cut");
  EXPECT_EQ(proc.read(70).chain.size(), 1u);
  EXPECT_EQ(proc.read(50).chain.size(), 1u) << "the parent has gone";
  EXPECT_LE(proc.read(30).chain.size(), 32u);
  for (const int none : {20, 10, 1, 0, -3}) EXPECT_TRUE(proc.read(none).chain.empty()) << none;
}

TEST(ProcessFacts, RealProcessesAreReadAndZombiesHaveNoProgram) {
  const auto self = readProcessFacts(getpid());
  ASSERT_FALSE(self.chain.empty());
  EXPECT_EQ(self.chain[0].exe, std::filesystem::canonical("/proc/self/exe"));
  EXPECT_EQ(self.chain[0].parentPID, getppid());
  const pid_t child = fork();
  if (child == 0) _exit(0);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, id_t(child), &info, WEXITED | WNOWAIT), 0);
  const auto zombie = readProcessFacts(child);
  EXPECT_TRUE(zombie.chain.empty() || zombie.chain[0].arguments.empty());
  waitpid(child, nullptr, 0);
  EXPECT_TRUE(readProcessFacts(child).chain.empty());
}

TEST(SandboxProcesses, ANumberFromInsideLeadsToTheProcessOfThatSandbox) {
  ProcFolder proc;
  const auto add = [&](int pid, const char* sandbox, const char* numbers) {
    proc.add(pid, 1, 5);
    proc.write(pid, "status", std::string("Name:\tx\nNSpid:\t") + numbers + "\nNSsid:\t7\n");
    if (*sandbox) proc.write(pid, "root/.flatpak-info", std::string("[Application]\nname=") + sandbox + "\n");
  };
  add(2, "", "2");
  add(41, "org.other.App", "41\t2");
  add(42, "org.sand.Box", "42\t2");
  add(43, "org.sand.Box", "43\t3");
  const AppProperties client = {{"client.api", "pipewire-pulse"},
                                {"pipewire.access.portal.app_id", "org.sand.Box"},
                                {"application.process.id", "2"}};
  SandboxProcesses processes(proc.path());
  EXPECT_EQ(streamProcessID({}, client), 0);
  EXPECT_EQ(processes.find({}, client), 42);
  EXPECT_EQ(processes.find({}, client), 42);
  proc.remove(42);
  EXPECT_EQ(processes.find({}, client), 0);
  add(52, "org.sand.Box", "52\t2");
  EXPECT_EQ(processes.find({}, client), 52) << "started again";
  EXPECT_EQ(processes.find({}, {{"application.process.id", "2"}}), 0) << "no sandbox";
}

}  // namespace sonmere
