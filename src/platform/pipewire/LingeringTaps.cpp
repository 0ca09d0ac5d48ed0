#include "platform/pipewire/LingeringTaps.h"

#include <pipewire/pipewire.h>

#include <algorithm>

namespace sonmere {

namespace {
// A tap is let go by the second tick after its end: after 50 to 100 ms. Making one anew takes some 10 ms.
constexpr Duration kTick = fromMilliseconds(50);
}  // namespace

LingeringTaps::LingeringTaps(PipeWireLoop& loop) : loop_(loop) {
  const PipeWireLoop::Lock lock(loop_);
  timer_ = pw_loop_add_timer(
      loop_.events(), [](void* data, std::uint64_t) { static_cast<LingeringTaps*>(data)->tick(); }, this);
}

LingeringTaps::~LingeringTaps() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
  taps_.clear();
}

void LingeringTaps::schedule(bool isOn) {
  timespec value{0, isOn ? long(kTick.count()) : 0};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

void LingeringTaps::keep(std::unique_ptr<CycleStream> stream, std::function<void()> release) {
  stream->silence();
  if (taps_.empty()) schedule(true);
  taps_.push_back({std::move(stream), std::move(release), false});
}

LingeringTaps::Taken LingeringTaps::take(const CycleStreamPlan& plan) {
  const auto isAlike = [&](const Tap& tap) {
    const CycleStreamPlan& other = tap.stream->plan();
    return tap.stream->isConnected() && other.kind == plan.kind && other.description == plan.description &&
           other.format == plan.format && other.latencyFrames == plan.latencyFrames;
  };
  const auto found = std::ranges::find_if(taps_, isAlike);
  if (found == taps_.end()) return {};
  Taken taken{std::move(found->stream), std::move(found->release)};
  taps_.erase(found);
  if (taps_.empty()) schedule(false);
  return taken;
}

void LingeringTaps::tick() {
  std::erase_if(taps_, [](Tap& tap) {
    if (tap.isOld) tap.release();
    return std::exchange(tap.isOld, true);
  });
  if (taps_.empty()) schedule(false);
}

void LingeringTaps::releaseAll() {
  for (Tap& tap : taps_) tap.release();
  taps_.clear();
  schedule(false);
}

}  // namespace sonmere
