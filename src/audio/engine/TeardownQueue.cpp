#include "audio/engine/TeardownQueue.h"

#include <fmt/format.h>

namespace sonmere {

TeardownQueue::TeardownQueue(Runtime& runtime, Log& log)
    : runtime_(runtime), log_(log), queue_(runtime.serialQueue("sonmere.teardown")) {}

namespace {

// A unit on its way out. Whether its task runs or is dropped with its queue, the unit is stopped before it
// and then its context go.
struct Departure {
  Departure(std::unique_ptr<OutputUnit> departing, std::shared_ptr<void> itsContext,
            std::shared_ptr<std::atomic<int>> count, std::shared_ptr<void> itsKept)
      : pending(std::move(count)),
        kept(std::move(itsKept)),
        context(std::move(itsContext)),
        unit(std::move(departing)) {
    pending->fetch_add(1);
  }
  ~Departure() {
    unit->stop();
    unit->uninitialize();
    unit.reset();
    context.reset();
    pending->fetch_sub(1);
  }
  Departure(const Departure&) = delete;
  Departure& operator=(const Departure&) = delete;

  std::shared_ptr<std::atomic<int>> pending;
  std::shared_ptr<void> kept;  // by all that are under way
  std::shared_ptr<void> context;
  std::unique_ptr<OutputUnit> unit;
};

}  // namespace

void TeardownQueue::dispose(std::unique_ptr<OutputUnit> unit, std::shared_ptr<void> context) {
  const AudioDeviceID device = unit->currentDevice().value_or(kAudioObjectUnknown);
  log_.info(fmt::format("teardown queued: unit=0x{:x} device={}", unit->identifier(), device));
  queue_->post([departure = std::make_shared<Departure>(std::move(unit), std::move(context), pending_,
                                                        kept_)]() mutable { departure.reset(); });
}

bool TeardownQueue::drain(Duration timeout) {
  return runtime_.waitUntil([pending = pending_] { return pending->load() == 0; }, timeout);
}

}  // namespace sonmere
