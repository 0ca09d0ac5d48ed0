#pragma once

#include <list>
#include <memory>
#include <optional>

#include "base/FileDescriptorWatcher.h"
#include "base/Lifetime.h"
#include "base/Log.h"
#include "control/Control.h"
#include "control/ControlConnection.h"
#include "control/ControlDoor.h"
#include "control/ControlMethods.h"
#include "control/TopicStates.h"

namespace sonmere {

// The control service: JSON-RPC 2.0, one message a line, on the socket of an endpoint. It sleeps while nobody
// asks. Main thread; all that it is given outlives it.
class ControlServer {
 public:
  static constexpr std::size_t kMostConnections = 32;

  static Outcome<std::unique_ptr<ControlServer>> start(Runtime& runtime, Log& log,
                                                       FileDescriptorWatcher& watcher, Control& control,
                                                       std::unique_ptr<ControlEndpoint> endpoint);

 private:
  ControlServer(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, Control& control,
                std::unique_ptr<ControlEndpoint> endpoint);
  void add(FileDescriptor socket);
  void remove(const ControlConnection* connection);
  void changed(const TopicSet& topics);

  Runtime& runtime_;
  Log& log_;
  FileDescriptorWatcher& watcher_;
  Control& control_;
  ControlMethods methods_;
  TopicStates states_;
  ControlDoor door_;
  std::list<std::shared_ptr<ControlConnection>> connections_;
  bool isFull_ = false;                  // said in the log
  std::optional<Subscription> changes_;  // while there are clients
  // Tells what was posted whether this object is still there.
  Lifetime lifetime_;
};

}  // namespace sonmere
