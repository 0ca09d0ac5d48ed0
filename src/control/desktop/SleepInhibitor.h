#pragma once

#include "base/FileDescriptor.h"
#include "base/Log.h"
#include "control/Control.h"
#include "control/desktop/SessionBus.h"

namespace sonmere {

// Keeps the machine from going to sleep by itself while something is recorded: an inhibitor of logind, asked
// for on the system's bus and held open. Without logind there is none, and the log says so. Main thread; all
// that it is given outlives it.
class SleepInhibitor {
 public:
  SleepInhibitor(SessionBus& systemBus, Log& log, Control& control);

  bool isHeld() const { return held_.valid(); }

 private:
  struct Handlers;
  void look();

  SessionBus& bus_;
  Log& log_;
  Control& control_;
  Subscription changes_;
  FileDescriptor held_;
  bool isAsked_ = false;
  bool isRecording_ = false;
};

}  // namespace sonmere
