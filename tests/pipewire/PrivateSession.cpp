#include "PrivateSession.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

extern char** environ;

namespace sonmere {

namespace {

const std::string kScript = std::string(SONMERE_SOURCE_DIR) + "/scripts/pipewire-session";

// Programs get a process group of their own: wrappers may have children.
pid_t spawn(const std::vector<std::string>& command, int output) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, 1);
  posix_spawn_file_actions_adddup2(&actions, output, 2);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : 0;
}

struct Ran {
  int status = -1;
  std::string text;
};

Ran runScript(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), kScript);
  // A file, not a pipe: what is started may hold it open for long.
  std::FILE* output = std::tmpfile();
  Ran outcome;
  const pid_t pid = spawn(arguments, fileno(output));
  if (pid > 0) waitpid(pid, &outcome.status, 0);
  std::rewind(output);
  std::array<char, 4096> buffer;
  while (const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), output))
    outcome.text.append(buffer.data(), n);
  std::fclose(output);
  return outcome;
}

std::vector<std::string> inSession(const std::string& folder, const std::vector<std::string>& command) {
  std::vector<std::string> whole = {"run", folder, "--"};
  whole.insert(whole.end(), command.begin(), command.end());
  return whole;
}

}  // namespace

void SessionProgram::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

int SessionProgram::wait() {
  int status = -1;
  if (pid_ > 0) waitpid(std::exchange(pid_, 0), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void SessionProgram::end() {
  if (pid_ <= 0) return;
  kill(-pid_, SIGCONT);
  kill(-pid_, SIGTERM);
  wait();
}

PrivateSession::PrivateSession(int quantum) {
  std::vector<std::string> arguments = {"start", file("s"), "--owner", std::to_string(getpid())};
  if (quantum > 0) arguments.insert(arguments.end(), {"--quantum", std::to_string(quantum)});
  const Ran outcome = runScript(arguments);
  if (outcome.status != 0) problem_ = "no private session: " + outcome.text;
  manager_ = runningManager();
}

PrivateSession::~PrivateSession() {
  EXPECT_TRUE(hasItsManager()) << "the session manager has died";
  runScript({"stop", file("s")});
}

// 0: it does not run. One that has ended may lie there as a zombie.
pid_t PrivateSession::runningManager() const {
  pid_t pid = 0;
  std::ifstream(file("s/wireplumber.pid")) >> pid;
  std::string line;
  std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/stat"), line);
  const auto state = line.rfind(") ");
  return state == std::string::npos || line[state + 2] == 'Z' || line[state + 2] == 'X' ? 0 : pid;
}

bool PrivateSession::hasItsManager() const { return manager_ == 0 || runningManager() == manager_; }

SessionProgram PrivateSession::launch(const std::vector<std::string>& command) const {
  std::vector<std::string> whole = inSession(file("s"), command);
  whole.insert(whole.begin(), kScript);
  const int log = open(file("programs.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  SessionProgram program(spawn(whole, log));
  close(log);
  return program;
}

std::string PrivateSession::programLog() const {
  std::ostringstream text;
  text << std::ifstream(file("programs.log")).rdbuf();
  return text.str();
}

std::string PrivateSession::run(const std::vector<std::string>& command) const {
  return runScript(inSession(file("s"), command)).text;
}

bool PrivateSession::control(const std::string& action, const std::string& argument) {
  std::vector<std::string> arguments = {action, file("s")};
  if (!argument.empty()) arguments.push_back(argument);
  EXPECT_TRUE(hasItsManager()) << "the session manager has died before '" << action << "'";
  const bool isDone = runScript(arguments).status == 0;
  // It goes down with its server.
  if (action == "kill") manager_ = 0;
  if (action == "restart" || action == "bare") manager_ = runningManager();
  return isDone;
}

}  // namespace sonmere
