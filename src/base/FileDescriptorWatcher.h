#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Queue.h"

namespace sonmere {

// Waits for file descriptors on one thread that sleeps until something happens, and tells it on a serial
// queue: a handler runs while its descriptor can be read or written, one call at a time, and the thread does
// not look at that descriptor again before the handler has returned. Threads: one at a time, that of
// the queue once it runs. The queue outlives the watcher.
class FileDescriptorWatcher {
 public:
  // What to wait for. An end or error of the other side is always told.
  struct Interest {
    bool read = false;
    bool write = false;
  };
  using Handler = std::function<void()>;

  static Outcome<std::unique_ptr<FileDescriptorWatcher>> create(Queue& queue);
  // No handler runs from now on.
  ~FileDescriptorWatcher();

  // A descriptor is watched once at most, and stays open until it is removed.
  Outcome<void> add(int descriptor, Interest interest, Handler handler);
  void change(int descriptor, Interest interest);
  // Its handler runs no more; safe inside of it.
  void remove(int descriptor);

 private:
  struct Watch {
    std::uint64_t id;
    Interest interest;
    std::shared_ptr<Handler> handler;
  };
  FileDescriptorWatcher(Queue& queue, FileDescriptor poll, FileDescriptor wake);
  void loop(const std::shared_ptr<FileDescriptorWatcher*>& self);
  void fire(std::uint64_t id);
  void arm(int descriptor, const Watch& watch);

  Queue& queue_;
  const FileDescriptor poll_;
  const FileDescriptor wake_;
  std::uint64_t nextID_ = 1;
  std::map<int, Watch> watches_;       // by descriptor
  std::map<std::uint64_t, int> byID_;  // what is posted names a watch that may be gone
  std::shared_ptr<FileDescriptorWatcher*> self_ = std::make_shared<FileDescriptorWatcher*>(this);
  std::thread thread_;
};

}  // namespace sonmere
