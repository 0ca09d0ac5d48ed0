#include "base/StopSignals.h"

#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace sonmere {

namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kExitSignalled = 128;

std::atomic<int> wakeDescriptor{-1};
std::atomic<int> received{0};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");

void noteSignal(int signal) {
  if (received.exchange(signal) != 0) _exit(kExitSignalled + signal);
  const int before = errno;
  const std::uint64_t one = 1;
  // Never full: it is written once.
  [[maybe_unused]] const auto written = ::write(wakeDescriptor, &one, sizeof one);
  errno = before;
}

}  // namespace

struct StopSignals::State {
  FileDescriptorWatcher& watcher;
  FileDescriptor wake;
  std::array<struct sigaction, kSignals.size()> before{};
};

StopSignals::StopSignals(std::unique_ptr<State> state) : state_(std::move(state)) {}

Outcome<std::unique_ptr<StopSignals>> StopSignals::watch(FileDescriptorWatcher& watcher,
                                                         std::function<void(int)> stop) {
  auto state =
      std::make_unique<State>(State{watcher, FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))});
  const int wake = state->wake.get();
  if (wake < 0) return std::unexpected(posixError(errno, "Watch for signals"));
  const auto told = [wake, stop = std::move(stop)] {
    eventfd_t count = 0;
    if (eventfd_read(wake, &count) == 0) stop(received);
  };
  if (auto added = watcher.add(wake, {.read = true}, told); !added) return std::unexpected(added.error());
  received = 0;
  wakeDescriptor = wake;
  struct sigaction action {};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &state->before[i]);
  return std::unique_ptr<StopSignals>(new StopSignals(std::move(state)));
}

StopSignals::~StopSignals() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &state_->before[i], nullptr);
  wakeDescriptor = -1;
  state_->watcher.remove(state_->wake.get());
}

}  // namespace sonmere
