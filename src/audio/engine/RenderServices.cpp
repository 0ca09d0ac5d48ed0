#include "audio/engine/RenderServices.h"

namespace sonmere {

namespace {
constexpr Duration kTeardownWait = std::chrono::seconds(5);
}  // namespace

RenderServices::RenderServices(Runtime& itsRuntime, Log& itsLog, AudioHardware& itsHardware)
    : runtime(itsRuntime),
      log(itsLog),
      hardware(itsHardware),
      retirement(itsRuntime),
      teardown(itsRuntime, itsLog) {}

RenderServices::~RenderServices() {
  waitForTeardown();
  if (isStalled_) teardown.keepForStalledUnits(retirement.takePending());
}

void RenderServices::waitForTeardown() {
  const bool wasStalled = isStalled_;
  isStalled_ = !teardown.drain(wasStalled ? Duration::zero() : kTeardownWait);
  if (isStalled_ && !wasStalled)
    log.error("Sonmere: an output unit would not stop; what it may hold is kept");
}

}  // namespace sonmere
