#pragma once

#include <functional>
#include <memory>

#include "base/Error.h"
#include "base/FileDescriptorWatcher.h"

namespace sonmere {

// The end that a user or a system asks for: SIGINT, SIGTERM and SIGHUP, told on the watcher's queue without
// anything that wakes up to look. The second signal ends the process at once, with status 128 plus its
// number. One object at a time; the watcher outlives it. Main thread.
class StopSignals {
 public:
  static Outcome<std::unique_ptr<StopSignals>> watch(FileDescriptorWatcher& watcher,
                                                     std::function<void(int signal)> stop);
  // The signals do again what they did before.
  ~StopSignals();

 private:
  struct State;
  explicit StopSignals(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace sonmere
