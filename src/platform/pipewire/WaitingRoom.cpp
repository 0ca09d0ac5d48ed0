#include "platform/pipewire/WaitingRoom.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "audio/device/CaptureExpectation.h"

namespace sonmere {

namespace {
constexpr Duration kLook = fromMilliseconds(20);
static_assert(kLook * WaitingRoom::kLongestWait == kLongestCaptureWait);

// A second.
constexpr int kLooksToClose = 50;

void discard(void*, const CycleStream::Cycle&) noexcept {}
}  // namespace

WaitingRoom::WaitingRoom(PipeWireLoop& loop, const GraphMirror& graph, DepartingStreams& departing)
    : loop_(loop), graph_(graph), departing_(departing) {
  const PipeWireLoop::Lock lock(loop_);
  timer_ = pw_loop_add_timer(
      loop_.events(), [](void* data, std::uint64_t) { static_cast<WaitingRoom*>(data)->tick(); }, this);
}

WaitingRoom::~WaitingRoom() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
}

void WaitingRoom::tick() {
  if (occupiedSerial_ != 0 && look) look();
  if (looksToClose_ && --*looksToClose_ <= 0) close();
}

void WaitingRoom::updateTimer() {
  const bool isOn = occupiedSerial_ != 0 || looksToClose_;
  timespec value{0, isOn ? long(kLook.count()) : 0};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

void WaitingRoom::open(pw_core* core, const std::string& name) {
  looksToClose_.reset();
  updateTimer();
  if (stream_ || !core) return;
  CycleStreamPlan plan;
  plan.kind = CycleStreamPlan::Kind::waiting;
  plan.name = name;
  plan.description = "Sonmere";
  plan.format = {48000, 2};
  stream_ = std::make_unique<CycleStream>(loop_, std::move(plan), discard, nullptr);
  if (!stream_->begin(core)) stream_.reset();
}

void WaitingRoom::closeSoon() {
  if (!stream_ || looksToClose_) return;
  looksToClose_ = kLooksToClose;
  updateTimer();
}

void WaitingRoom::close() {
  looksToClose_.reset();
  setOccupied(false);
  updateTimer();
  if (!stream_) return;
  departing_.bury(std::move(stream_));
}

void WaitingRoom::forget() {
  looksToClose_.reset();
  setOccupied(false);
  updateTimer();
  stream_.reset();
}

const GraphNode* WaitingRoom::node() const {
  const auto id = stream_ ? stream_->node() : std::nullopt;
  const GraphNode* node = id ? graph_.node(*id) : nullptr;
  return node && node->name() == stream_->plan().name ? node : nullptr;
}

bool WaitingRoom::isLinked() const {
  const GraphNode* announced = node();
  return announced && std::ranges::any_of(graph_.links(), [&](const auto& entry) {
           return entry.second.inputNode == announced->id;
         });
}

std::string WaitingRoom::serial() const {
  const GraphNode* announced = node();
  return announced ? announced->serial : std::string();
}

void WaitingRoom::setOccupied(bool isOccupied) {
  if (isOccupied == (occupiedSerial_ != 0)) return;
  std::uint32_t present = std::exchange(occupiedSerial_, 0);
  if (isOccupied) {
    const std::string text = serial();
    std::from_chars(text.data(), text.data() + text.size(), occupiedSerial_);
    present = occupiedSerial_;
  }
  updateTimer();
  if (occupancyChanged) occupancyChanged(present, isOccupied);
}

}  // namespace sonmere
