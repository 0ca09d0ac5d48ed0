#include "platform/pipewire/DefaultsWatch.h"

#include <pipewire/pipewire.h>

namespace sonmere {

namespace {
constexpr Duration kLook = fromMilliseconds(500), kLateLook = std::chrono::seconds(5);
constexpr int kLooksToGiveUp = 4, kEarlyLooks = 20;
}  // namespace

DefaultsWatch::DefaultsWatch(PipeWireLoop& loop) : loop_(loop) {
  const PipeWireLoop::Lock lock(loop_);
  timer_ = pw_loop_add_timer(
      loop_.events(), [](void* data, std::uint64_t) { static_cast<DefaultsWatch*>(data)->look(); }, this);
}

DefaultsWatch::~DefaultsWatch() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
}

void DefaultsWatch::schedule(Duration interval) {
  isScheduled_ = interval > Duration::zero();
  timespec value{interval.count() / 1'000'000'000, interval.count() % 1'000'000'000};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

bool DefaultsWatch::hasGivenUp() const { return looks_ >= kLooksToGiveUp; }

void DefaultsWatch::reset() {
  looks_ = 0;
  schedule(Duration::zero());
}

void DefaultsWatch::update() {
  const bool isOn = isUnknown && isUnknown();
  if (isOn && !isScheduled_) schedule(kLook);
  if (!isOn && isScheduled_) reset();
}

void DefaultsWatch::look() {
  if (!isUnknown()) return reset();
  if (++looks_ == kEarlyLooks) schedule(kLateLook);
  askAgain();
  if (looks_ == kLooksToGiveUp) gaveUp();
}

}  // namespace sonmere
