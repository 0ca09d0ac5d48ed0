#include "base/FileDescriptorWatcher.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "base/LiveThreads.h"

namespace sonmere {

namespace {

constexpr std::uint64_t kWakeID = 0;
constexpr int kEventsAtOnce = 16;

std::uint32_t eventsOf(FileDescriptorWatcher::Interest interest) {
  // One shot: the next is waited for when the handler has seen to this one.
  return std::uint32_t(EPOLLONESHOT) | (interest.read ? std::uint32_t(EPOLLIN) : 0u) |
         (interest.write ? std::uint32_t(EPOLLOUT) : 0u);
}

int control(const FileDescriptor& poll, int operation, int descriptor, std::uint32_t events,
            std::uint64_t id) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = id;
  return epoll_ctl(poll.get(), operation, descriptor, &event);
}

}  // namespace

Outcome<std::unique_ptr<FileDescriptorWatcher>> FileDescriptorWatcher::create(Queue& queue) {
  FileDescriptor poll(epoll_create1(EPOLL_CLOEXEC)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!poll.valid() || !wake.valid() || control(poll, EPOLL_CTL_ADD, wake.get(), EPOLLIN, kWakeID) != 0)
    return std::unexpected(posixError(errno, "Watch file descriptors"));
  return std::unique_ptr<FileDescriptorWatcher>(
      new FileDescriptorWatcher(queue, std::move(poll), std::move(wake)));
}

FileDescriptorWatcher::FileDescriptorWatcher(Queue& queue, FileDescriptor poll, FileDescriptor wake)
    : queue_(queue), poll_(std::move(poll)), wake_(std::move(wake)), thread_([this, self = self_] {
        beginThread("watcher");
        loop(self);
      }) {}

FileDescriptorWatcher::~FileDescriptorWatcher() {
  *self_ = nullptr;
  eventfd_write(wake_.get(), 1);
  thread_.join();
}

void FileDescriptorWatcher::loop(const std::shared_ptr<FileDescriptorWatcher*>& self) {
  // Signals are the main thread's.
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  std::array<epoll_event, kEventsAtOnce> events;
  while (true) {
    const int count = epoll_wait(poll_.get(), events.data(), kEventsAtOnce, -1);
    if (count < 0 && errno != EINTR) return;
    for (int i = 0; i < count; ++i) {
      const std::uint64_t id = events[std::size_t(i)].data.u64;
      if (id == kWakeID) return;
      queue_.post([self, id] {
        if (*self) (*self)->fire(id);
      });
    }
  }
}

void FileDescriptorWatcher::fire(std::uint64_t id) {
  const auto found = byID_.find(id);
  if (found == byID_.end()) return;
  const int descriptor = found->second;
  const auto handler = watches_.at(descriptor).handler;
  const auto self = self_;
  (*handler)();
  // The handler may have removed its descriptor, or ended the watcher.
  if (!*self || !byID_.contains(id)) return;
  arm(descriptor, watches_.at(descriptor));
}

Outcome<void> FileDescriptorWatcher::add(int descriptor, Interest interest, Handler handler) {
  const std::uint64_t id = nextID_++;
  if (control(poll_, EPOLL_CTL_ADD, descriptor, eventsOf(interest), id) != 0)
    return std::unexpected(posixError(errno, "Watch a file descriptor"));
  watches_[descriptor] = {id, interest, std::make_shared<Handler>(std::move(handler))};
  byID_[id] = descriptor;
  return {};
}

void FileDescriptorWatcher::change(int descriptor, Interest interest) {
  const auto found = watches_.find(descriptor);
  if (found == watches_.end()) return;
  found->second.interest = interest;
  arm(descriptor, found->second);
}

void FileDescriptorWatcher::arm(int descriptor, const Watch& watch) {
  control(poll_, EPOLL_CTL_MOD, descriptor, eventsOf(watch.interest), watch.id);
}

void FileDescriptorWatcher::remove(int descriptor) {
  const auto found = watches_.find(descriptor);
  if (found == watches_.end()) return;
  control(poll_, EPOLL_CTL_DEL, descriptor, 0, 0);
  byID_.erase(found->second.id);
  watches_.erase(found);
}

}  // namespace sonmere
