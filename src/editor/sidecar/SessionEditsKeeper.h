#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "base/Runtime.h"
#include "editor/sidecar/SessionEditsSidecar.h"

namespace sonmere {

// Writes a session's sidecar a moment after the last change, beside the main thread. Main thread.
class SessionEditsKeeper {
 public:
  // So long after the last change: a drag gives one write at its end.
  static constexpr Duration kWriteDelay = fromMilliseconds(500);

  // `document` builds what is to be saved.
  SessionEditsKeeper(Runtime& runtime, Log& log, std::string folder,
                     std::function<PersistedSessionEdits()> document);
  // Writes what waits to be written.
  ~SessionEditsKeeper();

  void changed();
  // Writes now what waits to be written, and returns once it is on disk.
  void flush();

 private:
  void write();

  Runtime& runtime_;
  const SessionEditsSidecar sidecar_;
  const std::string folder_;
  const std::function<PersistedSessionEdits()> document_;
  std::shared_ptr<Queue> queue_;  // from the first write on
  std::shared_ptr<std::atomic<int>> writes_ = std::make_shared<std::atomic<int>>(0);  // under way
  ScopedTask sidecarWriteTimer_;
};

}  // namespace sonmere
