#include "platform/pipewire/DepartingStreams.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <utility>

namespace sonmere {

namespace {
// A tap is let go by the second tick after its end: after 50 to 100 ms. Making one anew takes some 10 ms.
constexpr Duration kTick = fromMilliseconds(50);
constexpr int kLingering = 1;
// A server that does not take a stream down within 2 s does not let this program do so.
constexpr int kLongestAge = 40;
}  // namespace

DepartingStreams::DepartingStreams(PipeWireLoop& loop, GraphMirror& graph) : loop_(loop), graph_(graph) {
  const PipeWireLoop::Lock lock(loop_);
  const auto tick = [](void* data, std::uint64_t) {
    auto* self = static_cast<DepartingStreams*>(data);
    std::erase_if(self->streams_, [&](Departing& departing) { return self->tick(departing); });
    if (self->streams_.empty()) self->schedule(false);
  };
  timer_ = pw_loop_add_timer(loop_.events(), tick, this);
}

DepartingStreams::~DepartingStreams() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
  streams_.clear();
}

void DepartingStreams::schedule(bool isOn) {
  timespec value{0, isOn ? long(kTick.count()) : 0};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

void DepartingStreams::add(std::unique_ptr<CycleStream> stream, std::function<void()> release) {
  stream->silence();
  if (streams_.empty()) schedule(true);
  streams_.push_back({std::move(stream), std::move(release), 0});
}

void DepartingStreams::bury(std::unique_ptr<CycleStream> stream) {
  add(std::move(stream), nullptr);
  leave(streams_.back());
}

void DepartingStreams::linger(std::unique_ptr<CycleStream> stream, std::function<void()> release) {
  add(std::move(stream), std::move(release));
}

void DepartingStreams::leave(Departing& departing) {
  if (const auto release = std::exchange(departing.release, nullptr)) release();
  if (const auto node = departing.stream->node()) graph_.destroy(*node);
}

// True: it is time to free it.
bool DepartingStreams::tick(Departing& departing) {
  const int age = departing.age++;
  if (departing.release && age >= kLingering) leave(departing);
  return !departing.release && (departing.stream->hasGone() || age >= kLongestAge);
}

DepartingStreams::Taken DepartingStreams::take(const CycleStreamPlan& plan) {
  const auto isAlike = [&](const Departing& departing) {
    const CycleStreamPlan& other = departing.stream->plan();
    return departing.release && departing.stream->isConnected() && other.kind == plan.kind &&
           other.description == plan.description && other.format == plan.format &&
           other.latencyFrames == plan.latencyFrames;
  };
  const auto found = std::ranges::find_if(streams_, isAlike);
  if (found == streams_.end()) return {};
  Taken taken{std::move(found->stream), std::move(found->release)};
  streams_.erase(found);
  if (streams_.empty()) schedule(false);
  return taken;
}

void DepartingStreams::releaseAll() {
  for (Departing& departing : streams_)
    if (departing.release) leave(departing);
}

}  // namespace sonmere
