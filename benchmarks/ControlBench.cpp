// How fast the program answers, and what it costs while idle. Prints a table; the program to measure and its
// arguments are the bench's arguments.
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "control/ControlClient.h"

namespace {

using namespace sonmere;
using Clock = std::chrono::steady_clock;

constexpr int kStarts = 10;
constexpr int kCommands = 30;
constexpr auto kIdleTime = std::chrono::seconds(10);

double milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

pid_t launch(const std::string& program, std::vector<std::string> arguments) {
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  if (!std::freopen("/dev/null", "w", stdout)) _exit(126);
  execv(program.c_str(), words.data());
  _exit(127);
}

int end(pid_t child, int signal) {
  int status = 0;
  if (signal != 0) kill(child, signal);
  waitpid(child, &status, 0);
  return status;
}

bool answers(const std::filesystem::path& folder) {
  auto client = ControlClient::connect(folder);
  return client && client->call("status");
}

double startTime(const std::string& program, const std::filesystem::path& folder) {
  const auto begin = Clock::now();
  const pid_t child = launch(program, {"run", "--platform", "simulated"});
  while (!answers(folder)) std::this_thread::sleep_for(std::chrono::microseconds(200));
  const double time = milliseconds(Clock::now() - begin);
  end(child, SIGTERM);
  return time;
}

double commandTime(const std::string& program) {
  const auto begin = Clock::now();
  end(launch(program, {"status"}), 0);
  return milliseconds(Clock::now() - begin);
}

double privateMegabytes(pid_t process) {
  std::ifstream smaps(fmt::format("/proc/{}/smaps_rollup", process));
  std::string word;
  double kilobytes = 0, value = 0;
  while (smaps >> word)
    if ((word == "Private_Clean:" || word == "Private_Dirty:") && smaps >> value) kilobytes += value;
  return kilobytes / 1024;
}

// Voluntary switches of all threads: each is a sleep that ended.
std::int64_t wakeups(pid_t process) {
  std::int64_t sum = 0;
  for (const auto& thread : std::filesystem::directory_iterator(fmt::format("/proc/{}/task", process))) {
    std::ifstream status(thread.path() / "status");
    std::string word;
    std::int64_t value = 0;
    while (status >> word)
      if (word == "voluntary_ctxt_switches:" && status >> value) sum += value;
  }
  return sum;
}

void row(const char* what, double value, const char* unit, double goal) {
  fmt::print("{:<44} {:>8.2f} {:<8} goal {:>5.1f}  {}\n", what, value, unit, goal,
             value <= goal ? "met" : "MISSED");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fmt::print(stderr, "usage: sonmere_control_bench PATH-OF-SONMERE\n");
    return 2;
  }
  const std::string program = argv[1];
  std::string name = (std::filesystem::temp_directory_path() / "sonmere-bench-XXXXXX").string();
  if (!mkdtemp(name.data())) return 1;
  for (const char* variable : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
    setenv(variable, name.c_str(), 1);
  const std::filesystem::path folder = std::filesystem::path(name) / "sonmere";

  std::vector<double> starts, commands;
  for (int i = 0; i < kStarts; ++i) starts.push_back(startTime(program, folder));
  const pid_t child = launch(program, {"run", "--platform", "simulated"});
  while (!answers(folder)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  for (int i = 0; i < kCommands; ++i) commands.push_back(commandTime(program));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const std::int64_t before = wakeups(child);
  std::this_thread::sleep_for(kIdleTime);
  const double perSecond = double(wakeups(child) - before) / double(kIdleTime.count());
  row("start to the first answer, median", median(starts), "ms", 50);
  row("a whole command (status), median", median(commands), "ms", 50);
  row("private memory, idle", privateMegabytes(child), "MB", 15);
  row("wake-ups, idle", perSecond, "a second", 1);
  end(child, SIGTERM);
  std::filesystem::remove_all(name);
  return 0;
}
