#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/FileDescriptorWatcher.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "control/ControlEndpoint.h"

namespace sonmere {

// Lets clients in, one after the other. When the process has no descriptor left, it says so to who comes,
// with one that it keeps for that, and when there is not even that, it looks again after a while. Main
// thread.
class ControlDoor {
 public:
  static constexpr Duration kRest = fromMilliseconds(1000);

  // `enter` is given each client that comes in.
  using Enter = std::function<void(FileDescriptor)>;
  ControlDoor(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher,
              std::unique_ptr<ControlEndpoint> endpoint, Enter enter);
  ~ControlDoor();

  Outcome<void> open();
  // Tells a client why it can't come in.
  static void turnAway(const FileDescriptor& client, const std::string& reason);

 private:
  void accept();
  void acceptWithSpare();
  // False when the next one can't even be told.
  bool turnNextAway();
  void rest();

  Runtime& runtime_;
  Log& log_;
  FileDescriptorWatcher& watcher_;
  const std::unique_ptr<ControlEndpoint> endpoint_;
  const Enter enter_;
  FileDescriptor spare_;
  bool isOpen_ = false;  // watched
  bool isFull_ = false;  // said in the log
  ScopedTask rest_;
};

}  // namespace sonmere
