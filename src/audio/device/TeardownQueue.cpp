#include "audio/device/TeardownQueue.h"

#include <fmt/format.h>

namespace sonmere {

TeardownQueue::TeardownQueue(Runtime& runtime, Log& log)
    : runtime_(runtime), log_(log), queue_(runtime.serialQueue("sonmere.teardown")) {}

void TeardownQueue::dispose(std::unique_ptr<OutputUnit> unit, std::shared_ptr<void> context) {
  const AudioDeviceID device = unit->currentDevice().value_or(kAudioObjectUnknown);
  log_.info(fmt::format("teardown queued: unit=0x{:x} device={}", unit->identifier(), device));
  pending_->fetch_add(1);
  queue_->post([unit = std::shared_ptr<OutputUnit>(std::move(unit)), context = std::move(context),
                pending = pending_]() mutable {
    unit->stop();
    unit->uninitialize();
    unit.reset();
    context.reset();
    pending->fetch_sub(1);
  });
}

bool TeardownQueue::drain(Duration timeout) {
  return runtime_.waitUntil([pending = pending_] { return pending->load() == 0; }, timeout);
}

}  // namespace sonmere
