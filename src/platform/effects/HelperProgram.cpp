#include "platform/effects/HelperProgram.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "base/ProgramFiles.h"

extern char** environ;

namespace sonmere {

namespace {

// What plug-ins print is nobody's business.
void quieten(posix_spawn_file_actions_t& actions) {
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
}

int spawn(const std::string& path, const std::vector<std::string>& arguments, int memory, int socket,
          pid_t& pid) {
  std::vector<char*> words{const_cast<char*>(path.c_str())};
  for (const std::string& each : arguments) words.push_back(const_cast<char*>(each.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  quieten(actions);
  // Out of the way first, or one could overwrite the other.
  const FileDescriptor highMemory(memory < 0 ? -1 : fcntl(memory, F_DUPFD_CLOEXEC, 10)),
      highSocket(fcntl(socket, F_DUPFD_CLOEXEC, 10));
  if (memory >= 0) posix_spawn_file_actions_adddup2(&actions, highMemory.get(), HelperProgram::kMemoryNumber);
  posix_spawn_file_actions_adddup2(&actions, highSocket.get(), HelperProgram::kSocketNumber);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // A signal from the terminal is for the program; the helper ends after it.
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int error = posix_spawn(&pid, path.c_str(), &actions, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

// False when the limit passed first.
bool readToEnd(int socket, std::string& text, Duration limit) {
  const auto until = std::chrono::steady_clock::now() + limit;
  char part[65536];
  while (text.size() < HelperProgram::kMostBytes) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    pollfd wait{socket, POLLIN, 0};
    if (left.count() <= 0 || (poll(&wait, 1, int(left.count())) == 0)) return false;
    const ssize_t got = read(socket, part, sizeof part);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return true;
    text.append(part, std::size_t(got));
  }
  return false;
}

}  // namespace

HelperProgram::HelperProgram(std::string path)
    : path_(path.empty() ? helperProgram("sonmere-effects") : std::move(path)) {}

Outcome<HelperProgram::Process> HelperProgram::start(const std::vector<std::string>& arguments,
                                                     int memory) const {
  if (path_.empty())
    return std::unexpected(
        Error{"Plugins", 30, "can't be started: the program sonmere-effects is not there"});
  int ends[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    return std::unexpected(posixError(errno, "can't be talked to"));
  Process process{0, FileDescriptor(ends[0])};
  const FileDescriptor theirs(ends[1]);
  const int error = spawn(path_, arguments, memory, theirs.get(), process.pid);
  if (error != 0) return std::unexpected(posixError(error, "can't be started"));
  return process;
}

std::string HelperProgram::end(pid_t pid) {
  kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) return fmt::format("has ended (status {})", WEXITSTATUS(status));
  if (WTERMSIG(status) == SIGKILL) return "was killed";
  // It ran for longer than any audio thread may.
  if (WTERMSIG(status) == SIGXCPU) return "does not answer";
  return fmt::format("has crashed (signal {})", WTERMSIG(status));
}

bool HelperProgram::noteAsked(pid_t pid) {
  const std::lock_guard lock(mutex_);
  if (!isOver_) asked_.insert(pid);
  return !isOver_;
}

// Before it is waited for: its number may be another's after that.
void HelperProgram::forgetAsked(pid_t pid) {
  const std::lock_guard lock(mutex_);
  asked_.erase(pid);
}

void HelperProgram::stopAsking() {
  const std::lock_guard lock(mutex_);
  isOver_ = true;
  for (const pid_t pid : asked_) kill(pid, SIGKILL);
}

Outcome<HelperProgram::Answer> HelperProgram::ask(const std::vector<std::string>& arguments, Duration limit) {
  auto process = start(arguments, -1);
  if (!process) return std::unexpected(process.error());
  Answer answer;
  const bool isWhole = noteAsked(process->pid) && readToEnd(process->socket.get(), answer.text, limit);
  forgetAsked(process->pid);
  const std::string how = end(process->pid);
  if (!isWhole)
    answer.end = "hangs";
  else if (how.starts_with("has crashed"))
    answer.end = "crashes" + how.substr(std::string("has crashed").size());
  return answer;
}

}  // namespace sonmere
