#include "platform/desktop/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "base/FileDescriptor.h"
#include "platform/desktop/DesktopFolders.h"

extern char** environ;

namespace sonmere {

namespace {

constexpr std::size_t kLongestErrorText = 4096;
constexpr int kSignalBase = 128;

std::vector<char*> pointers(const std::vector<std::string>& arguments) {
  std::vector<char*> result;
  for (const std::string& each : arguments) result.push_back(const_cast<char*>(each.c_str()));
  result.push_back(nullptr);
  return result;
}

int waitFor(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return 0;
  return WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

// After fork, where other threads may have held any lock: system calls alone.
[[noreturn]] void execDetached(char* const* arguments, const char* file, const char* folder, int report) {
  ::setsid();
  if (::fork() > 0) ::_exit(0);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  const int nowhere = ::open("/dev/null", O_RDWR);
  for (int fd = 0; fd <= 2; ++fd) ::dup2(nowhere, fd);
  if (*folder && ::chdir(folder) != 0) {
    // A folder that has gone keeps no program from starting.
  }
  ::close_range(3, unsigned(report) - 1, 0);
  ::close_range(unsigned(report) + 1, ~0u, 0);
  ::execv(file, arguments);
  const int error = errno;
  [[maybe_unused]] const ssize_t told = ::write(report, &error, sizeof error);
  ::_exit(1);
}

// All of a pipe, of which the start is kept.
std::string readToEnd(int fd) {
  std::string text;
  std::array<char, 1024> block;
  while (true) {
    const ssize_t count = ::read(fd, block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(block.data(), std::min(std::size_t(count), kLongestErrorText - text.size()));
  }
}

}  // namespace

std::string findInPath(const std::string& name) {
  if (name.find('/') != std::string::npos) return ::access(name.c_str(), X_OK) == 0 ? name : "";
  const char* const path = std::getenv("PATH");
  for (const std::string& folder : splitFolders(path ? path : "/usr/local/bin:/usr/bin:/bin"))
    if (std::string file = folder + '/' + name; ::access(file.c_str(), X_OK) == 0) return file;
  return {};
}

int launchDetached(const std::vector<std::string>& arguments, const std::string& workingFolder) {
  const std::string file = arguments.empty() ? "" : findInPath(arguments[0]);
  if (file.empty()) return ENOENT;
  std::array<int, 2> ends;
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
  FileDescriptor reading(ends[0]), writing(ends[1]);
  const auto argv = pointers(arguments);
  const pid_t child = ::fork();
  if (child < 0) return errno;
  if (child == 0) execDetached(argv.data(), file.c_str(), workingFolder.c_str(), writing.get());
  writing = FileDescriptor();
  waitFor(child);
  int error = 0;  // the pipe closes without a word when the program runs
  ssize_t count = 0;
  do count = ::read(reading.get(), &error, sizeof error);
  while (count < 0 && errno == EINTR);
  return count == ssize_t(sizeof error) ? error : 0;
}

ChildOutcome runToEnd(const std::vector<std::string>& arguments, const std::function<void(pid_t)>& started) {
  ChildOutcome outcome;
  std::array<int, 2> ends;
  if (arguments.empty() || ::pipe2(ends.data(), O_CLOEXEC) != 0) {
    outcome.error = arguments.empty() ? EINVAL : errno;
    return outcome;
  }
  FileDescriptor reading(ends[0]), writing(ends[1]);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, writing.get(), STDERR_FILENO);
  pid_t pid = 0;
  outcome.error =
      ::posix_spawnp(&pid, arguments[0].c_str(), &actions, nullptr, pointers(arguments).data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (outcome.error != 0) return outcome;
  started(pid);
  writing = FileDescriptor();
  outcome.errorText = readToEnd(reading.get());
  outcome.exitStatus = waitFor(pid);
  return outcome;
}

}  // namespace sonmere
