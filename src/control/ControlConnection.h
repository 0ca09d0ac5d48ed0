#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/FileDescriptor.h"
#include "base/FileDescriptorWatcher.h"
#include "base/Runtime.h"
#include "control/ControlMessage.h"
#include "control/ControlMethods.h"
#include "control/MessageFramer.h"
#include "control/RequestBudget.h"

namespace sonmere {

// One client of the control service. Nothing here waits for it: what it does not read is queued up to a
// bound, beyond which the connection ends; what it sends beyond its budget stays unread until there is some
// again. Main thread.
class ControlConnection : public std::enable_shared_from_this<ControlConnection> {
 public:
  static constexpr std::size_t kLongestQueue = 1024 * 1024;  // bytes

  ControlConnection(Runtime& runtime, FileDescriptorWatcher& watcher, ControlMethods& methods,
                    FileDescriptor socket);
  ~ControlConnection();

  // `ended` is called once, when it is over; the connection may be destroyed then. `watchingChanged` tells
  // that the client wants levels or no longer does.
  void start(std::function<void()> ended, std::function<void()> watchingChanged);
  bool isWatching() const { return isWatching_; }
  // A notification, left out while the client has not read what came before.
  void notify(const std::string& message);

 private:
  void wake();
  void readSome();
  void handleLines();
  void handle(const std::string& line);
  void answer(const ControlJSON& id, const Outcome<ControlJSON>& outcome);
  bool setWatching(const ControlRequest& request);
  void send(const std::string& message);
  void flush();
  void updateInterest();
  void end();
  bool isDone() const {
    return hasEnded_ || (isAtEnd_ && !isPaused_ && pendingReplies_ == 0 && out_.empty());
  }

  Runtime& runtime_;
  FileDescriptorWatcher& watcher_;
  ControlMethods& methods_;
  const FileDescriptor socket_;
  MessageFramer framer_;
  RequestBudget budget_;
  std::string out_;
  std::function<void()> ended_;
  std::function<void()> watchingChanged_;
  bool isWatched_ = false;  // by the watcher
  bool isWatching_ = false;
  bool isAtEnd_ = false;  // the client sends nothing more
  bool isPaused_ = false;
  bool hasEnded_ = false;
  int pendingReplies_ = 0;
  ScopedTask pause_;
};

}  // namespace sonmere
