#include "platform/pipewire/ArrivalWatch.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>

#include <algorithm>

namespace sonmere {

namespace {
constexpr Duration kLook = fromMilliseconds(50);
// An idle session manager links within 50 ms, one on a busy machine within 150.
constexpr int kLooksToNudge = 4;
// Each way round is given twice the time of the one before.
constexpr int kLooksToDetour = 12, kMostDetours = 6;
// On the way round: long enough for the session manager to take notice.
constexpr int kLooksOnDetour = 2;

const std::string kTarget = "target.object";
// The session manager looks at all streams anew when this changes, and goes by the other key where both are.
const std::string kOldTarget = "target.node";
constexpr const char* kAnywhere = "-1";
}  // namespace

ArrivalWatch::ArrivalWatch(PipeWireLoop& loop, GraphMirror& graph, Log& log)
    : loop_(loop), graph_(graph), log_(log) {
  const PipeWireLoop::Lock lock(loop_);
  timer_ = pw_loop_add_timer(loop_.events(), tick, this);
}

ArrivalWatch::~ArrivalWatch() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
}

void ArrivalWatch::schedule(bool isOn) {
  if (isOn == isScheduled_) return;
  isScheduled_ = isOn;
  timespec value{0, isOn ? long(kLook.count()) : 0};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

void ArrivalWatch::sent(GlobalID stream, const std::string& serial) {
  streams_[stream] = {serial, 0, 0, false};
  schedule(true);
}

void ArrivalWatch::changed(GlobalID stream) {
  const auto known = streams_.find(stream);
  if (known == streams_.end() || hasArrived(stream, known->second)) return;
  // It had arrived, or is on its way.
  if (known->second.detours >= kMostDetours) known->second = {known->second.serial, 0, 0, false};
  schedule(true);
}

bool ArrivalWatch::isOnDetour(GlobalID stream) const {
  const auto known = streams_.find(stream);
  return known != streams_.end() && known->second.isOnDetour;
}

void ArrivalWatch::returned(GlobalID stream) {
  if (const auto known = streams_.find(stream); known != streams_.end()) known->second.isOnDetour = false;
}

void ArrivalWatch::tick(void* data, std::uint64_t) {
  auto* self = static_cast<ArrivalWatch*>(data);
  bool isAnyLeft = self->look && self->look();
  for (auto& [stream, sent] : self->streams_) isAnyLeft |= self->lookAfter(stream, sent);
  self->schedule(isAnyLeft);
}

// False: nothing is to be done for it at present.
bool ArrivalWatch::lookAfter(GlobalID stream, Sent& sent) {
  const int returnsAt = (kLooksToDetour << std::max(sent.detours - 1, 0)) + kLooksOnDetour;
  ++sent.looks;
  if (sent.detours > 0 && sent.looks == returnsAt) {
    graph_.defaults().set(stream, kTarget, sent.serial, "Spa:Id");
    return true;
  }
  const bool isAway = sent.detours > 0 && sent.looks < returnsAt;
  if (!isAway && hasArrived(stream, sent)) {
    sent.looks = sent.detours = 0;
    return false;
  }
  if (sent.looks == kLooksToNudge) nudge(stream);
  if (sent.looks == kLooksToDetour << sent.detours) goRound(stream, sent);
  return sent.detours < kMostDetours || isAway;
}

// What is linked by the session at all is linked to that device and to no other.
bool ArrivalWatch::hasArrived(GlobalID stream, const Sent& sent) const {
  const GraphNode* node = graph_.node(stream);
  if (!node || node->property("node.autoconnect") != "true") return true;
  bool isThere = false, isElsewhere = false;
  for (const auto& [id, link] : graph_.links()) {
    const GraphNode* device = link.outputNode == stream ? graph_.node(link.inputNode) : nullptr;
    if (!device || !device->isDevice()) continue;
    if (device->serial == sent.serial)
      isThere = true;
    else if (!isBeside || !isBeside(stream, device->id))
      isElsewhere = true;
  }
  return isThere && !isElsewhere;
}

void ArrivalWatch::nudge(GlobalID stream) {
  graph_.defaults().set(stream, kOldTarget, kAnywhere, "Spa:Id");
  graph_.defaults().set(stream, kOldTarget, std::nullopt);
}

// One that is to wait is not to be heard meanwhile.
void ArrivalWatch::goRound(GlobalID stream, Sent& sent) {
  if (sent.detours++ == 0)
    log_.info(fmt::format("Sonmere: {} is not linked to where it was sent; trying again",
                          graph_.node(stream)->property("application.name")));
  const std::string room = detour ? detour() : std::string();
  if (room == sent.serial) return nudge(stream);
  sent.isOnDetour = true;
  graph_.defaults().set(stream, kTarget, room.empty() ? kAnywhere : room, "Spa:Id");
}

}  // namespace sonmere
