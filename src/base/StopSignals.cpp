#include "base/StopSignals.h"

#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace sonmere {

namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kExitSignalled = 128;

std::atomic<int> wakeDescriptor{-1};
std::atomic<int> firstSignal{0};
std::atomic<std::int64_t> firstAt{0};
std::atomic<void (*)()> lastWork{nullptr};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "used in a signal handler");

std::int64_t now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

void wake() {
  const std::uint64_t one = 1;
  // Never full: it is written twice at most.
  if (const int descriptor = wakeDescriptor; descriptor >= 0) [[maybe_unused]]
    const auto written = ::write(descriptor, &one, sizeof one);
}

void noteSignal(int signal) {
  const int before = errno;
  // The time first: a second signal that comes in between must not look like one that comes late.
  std::int64_t never = 0;
  if (firstAt.compare_exchange_strong(never, now())) {
    firstSignal = signal;
    wake();
  } else if (signal == SIGINT && now() - firstAt >= StopSignals::kPatience.count()) {
    if (const auto work = lastWork.load()) work();
    endBySignal(signal);
  }
  errno = before;
}

}  // namespace

struct StopSignals::State {
  std::array<struct sigaction, kSignals.size()> before{};
  FileDescriptor wake;
  FileDescriptorWatcher* watcher = nullptr;
};

StopSignals::StopSignals(void (*endsAtOnce)()) : state_(std::make_unique<State>()) {
  firstSignal = 0;
  firstAt = 0;
  lastWork = endsAtOnce;
  struct sigaction action {};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], nullptr, &state_->before[i]);
    if (state_->before[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

StopSignals::~StopSignals() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &state_->before[i], nullptr);
  wakeDescriptor = -1;
  if (state_->watcher) state_->watcher->remove(state_->wake.get());
}

int StopSignals::received() const noexcept { return firstSignal; }

Outcome<void> StopSignals::tell(FileDescriptorWatcher& watcher, std::function<void(int)> stop) {
  state_->wake = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  const int descriptor = state_->wake.get();
  if (descriptor < 0) return std::unexpected(posixError(errno, "Watch for signals"));
  const auto told = [descriptor, stop = std::move(stop)] {
    eventfd_t count = 0;
    if (eventfd_read(descriptor, &count) == 0) stop(firstSignal);
  };
  if (auto added = watcher.add(descriptor, {.read = true}, told); !added) return added;
  state_->watcher = &watcher;
  wakeDescriptor = descriptor;
  if (firstSignal != 0) wake();
  return {};
}

void endBySignal(int signal) noexcept {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
  _exit(kExitSignalled + signal);
}

}  // namespace sonmere
