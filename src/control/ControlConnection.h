#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/FileDescriptor.h"
#include "base/FileDescriptorWatcher.h"
#include "base/Runtime.h"
#include "control/ControlSession.h"

namespace sonmere {

// The socket of one client: carries bytes between it and its session. Main thread.
class ControlConnection : public std::enable_shared_from_this<ControlConnection> {
 public:
  ControlConnection(Runtime& runtime, FileDescriptorWatcher& watcher, std::shared_ptr<ControlSession> session,
                    FileDescriptor socket);
  ~ControlConnection();

  // `ended` is called once, when it is over; the connection may be destroyed then.
  void start(std::function<void()> ended);
  ControlSession& session() { return *session_; }

 private:
  void wake();
  void readSome();
  void flush();
  void flushAndWait();
  void updateInterest();
  void end();

  Runtime& runtime_;
  FileDescriptorWatcher& watcher_;
  const FileDescriptor socket_;
  const std::shared_ptr<ControlSession> session_;
  std::function<void()> ended_;
  bool isWatched_ = false;  // by the watcher
  bool hasEnded_ = false;
};

}  // namespace sonmere
