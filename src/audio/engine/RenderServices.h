#pragma once

#include "audio/device/AudioHardware.h"
#include "audio/engine/TeardownQueue.h"
#include "base/Log.h"
#include "base/RenderRetirement.h"
#include "base/Runtime.h"

namespace sonmere {

// How long an unlisted tap, list or ring stays for a render that may hold it.
constexpr Duration kSnapshotGrace = std::chrono::seconds(2);

// What whoever plays through units or captures needs, one for the program: units end in one queue, and what
// renders no longer see is kept in one place. Main thread.
class RenderServices {
 public:
  RenderServices(Runtime& itsRuntime, Log& itsLog, AudioHardware& itsHardware);
  // After the last engine. Waits as `waitForTeardown` does; what a unit that is still there may hold lives as
  // long as the unit.
  ~RenderServices();

  // Until the units that were handed over so far are gone, or would not stop for 5 s; then nobody waits any
  // more until one goes.
  void waitForTeardown();

  Runtime& runtime;
  Log& log;
  AudioHardware& hardware;
  RenderRetirement retirement;
  TeardownQueue teardown;

 private:
  bool isStalled_ = false;
};

}  // namespace sonmere
