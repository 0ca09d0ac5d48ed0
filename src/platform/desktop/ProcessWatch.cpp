#include "platform/desktop/ProcessWatch.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "base/LiveThreads.h"

namespace sonmere {

namespace {

constexpr std::uint64_t kStop = 0;  // no process has this number

bool add(int events, int fd, std::uint64_t name) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = name;
  return ::epoll_ctl(events, EPOLL_CTL_ADD, fd, &event) == 0;
}

}  // namespace

ProcessWatch::ProcessWatch(std::function<void(ProcessID)> ended) : ended_(std::move(ended)) {}

ProcessWatch::~ProcessWatch() {
  if (!thread_.joinable()) return;
  ::eventfd_write(stop_.get(), 1);
  thread_.join();
}

// With the mutex held.
bool ProcessWatch::begin() {
  if (thread_.joinable()) return true;
  events_ = FileDescriptor(::epoll_create1(EPOLL_CLOEXEC));
  stop_ = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
  if (!events_.valid() || !stop_.valid() || !add(events_.get(), stop_.get(), kStop)) return false;
  thread_ = std::thread([this] { run(); });
  return true;
}

bool ProcessWatch::watch(ProcessID pid) {
  const std::lock_guard lock(mutex_);
  if (processes_.contains(pid)) return true;
  FileDescriptor process(int(::syscall(SYS_pidfd_open, pid, 0)));
  if (pid <= 0 || !process.valid() || !begin()) return false;
  if (!add(events_.get(), process.get(), std::uint64_t(pid))) return false;
  processes_.emplace(pid, std::move(process));
  return true;
}

void ProcessWatch::run() {
  beginThread("process-watch");
  epoll_event event{};
  while (true) {
    const int count = ::epoll_wait(events_.get(), &event, 1, -1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || event.data.u64 == kStop) return;
    const auto pid = ProcessID(event.data.u64);
    {
      const std::lock_guard lock(mutex_);
      processes_.erase(pid);
    }
    ended_(pid);
  }
}

}  // namespace sonmere
