#include "platform/pipewire/AppMover.h"

#include <fmt/format.h>

#include <ranges>
#include <utility>

namespace sonmere {

namespace {
const std::string kTarget = "target.object";
// "Anywhere": the default device.
constexpr const char* kNoTarget = "-1";

// Where a stream wishes to be by itself: a device by name or serial.
std::string ownTarget(const GraphMirror& graph, const GraphNode& stream) {
  const std::string wish(stream.property(kTarget)), old(stream.property("node.target"));
  if (!wish.empty()) return wish;
  for (const auto& [id, node] : graph.nodes())
    if (std::to_string(id) == old) return node.serial;
  // A number that is no device's any more may be another's serial.
  const bool isName = old.find_first_not_of("0123456789") != std::string::npos;
  return isName ? old : kNoTarget;
}

// The PulseAudio service has told its client of the stream, which it does once it is linked to an ordinary
// device. A stream that is moved to a hidden one before that is never told.
bool isAnswered(const GraphNode& node) {
  return node.property("client.api") != "pipewire-pulse" || !node.property("pulse.attr.tlength").empty();
}
}  // namespace

AppMover::AppMover(GraphMirror& graph, const ProcessDirectory& processes, TapLinks& links, WaitingRoom& room,
                   ArrivalWatch& arrivals, Log& log)
    : graph_(graph), processes_(processes), links_(links), room_(room), arrivals_(arrivals), log_(log) {}

bool AppMover::isMovable(const GraphNode& stream) { return stream.property("node.dont-reconnect") != "true"; }

void AppMover::start(const PipeWireTap& tap, GlobalID sink, std::function<std::uint64_t()> cycles) {
  const GraphNode* node = graph_.node(sink);
  if (!node) return;
  active_.push_back({tap, sink, node->serial, std::move(cycles)});
  if (needChanged) needChanged();
  placeAll();
}

void AppMover::stop(AudioObjectID tap) {
  std::erase_if(active_, [&](const Active& active) { return active.tap.id == tap; });
  placeAll();
  if (needChanged) needChanged();
}

void AppMover::expect(std::string_view owner, CaptureExpectation expectation) {
  if (expectation.isEmpty())
    expectations_.erase(std::string(owner));
  else
    expectations_.insert_or_assign(std::string(owner), std::move(expectation));
  placeAll();
  if (needChanged) needChanged();
}

void AppMover::reset() {
  active_.clear();
  claims_.clear();
  arrivals_.reset();
  settled_.clear();
  putBack_.clear();
  takenAway_.clear();
}

const AppMover::Active* AppMover::wanted(const GraphNode& node) const {
  if (active_.empty() || takenAway_.contains(node.id) || !isMovable(node)) return nullptr;
  if (const PipeWireProcess* process = judgedAs(node))
    for (const Active& active : active_ | std::views::reverse)
      if (active.tap.covers(process->id)) return &active;
  // One that is there as kin of a process which has ended stays until its app has another tap.
  const auto claimed = claims_.find(node.id);
  return claimed == claims_.end() ? nullptr : find(claimed->second.tap);
}

// A new process of a captured app is captured with it, before anybody has asked: its first sound would be
// heard elsewhere otherwise.
const PipeWireProcess* AppMover::judgedAs(const GraphNode& node) const {
  const PipeWireProcess* process = processes_.processOfStream(node);
  if (!process) return processes_.relativeOfStream(node);
  if (isCovered(*process)) return process;
  for (const auto& [id, other] : processes_.all())
    if (other.identity.bundleID == process->identity.bundleID && isCovered(other)) return &other;
  return process;
}

bool AppMover::isCovered(const PipeWireProcess& process) const {
  return std::ranges::any_of(active_, [&](const Active& active) { return active.tap.covers(process.id); });
}

const AppMover::Active* AppMover::find(AudioObjectID tap) const {
  const auto found = std::ranges::find(active_, tap, [](const Active& active) { return active.tap.id; });
  return found == active_.end() ? nullptr : &*found;
}

bool AppMover::isExpected(const std::string& bundleID) const {
  return std::ranges::any_of(expectations_, [&](const auto& entry) { return entry.second.covers(bundleID); });
}

// Of a stream that nothing has been heard of yet, and that no muted tap has.
AppMover::Place AppMover::placeOfNew(const GraphNode& node) {
  const auto hearing = links_.hearing(node);
  if (hearing == TapLinks::Hearing::notYet) return {Place::room};
  const auto bundleID = processes_.bundleIDOfStream(node);
  if (hearing == TapLinks::Hearing::nobody && bundleID && isExpected(*bundleID)) return {Place::room};
  const GraphClient* client = graph_.client(node.client);
  const bool isKnown = node.isKnown && (!client || client->isKnown);
  if (!isKnown) return {Place::unknown};
  settle(node.id);
  return {Place::home};
}

AppMover::Place AppMover::placeOf(const GraphNode& node) {
  if (takenAway_.contains(node.id) || !isMovable(node) || node.isOwn()) return {Place::home};
  const Active* active = wanted(node);
  if (!settled_.contains(node.id)) {
    const bool isAskable = room_.node() != nullptr;
    if (!active && isAskable) return placeOfNew(node);
    if (active && !isAnswered(node)) return {isAskable ? Place::room : Place::home};
    if (active && !isWithinReach(*active)) return {Place::room};
    if (node.isKnown) settle(node.id);
  }
  if (!active) return {Place::home};
  if (isWaiting(node.id) && !isWithinReach(*active)) return {Place::room};
  return {Place::tap, active};
}

// The session manager sends a stream whose target it does not know yet to the default device. Without the
// script nobody tells what it knows.
bool AppMover::isWithinReach(const Active& active) const {
  return !room_.node() || !graph_.defaults().value(0, kScriptKey) ||
         graph_.defaults().value(active.sink, kReachableKey) == active.serial;
}

bool AppMover::isWaiting(GlobalID stream) const {
  const auto known = claims_.find(stream);
  return known != claims_.end() && known->second.waits() && known->second.looks < WaitingRoom::kLongestWait;
}

void AppMover::place(const GraphNode& node) {
  if (!node.isPlaybackStream()) return;
  const Place wish = placeOf(node);
  if (wish.kind == Place::home) release(node.id);
  if (wish.kind == Place::room) claim(node.id, kAudioObjectUnknown, room_.serial());
  if (wish.kind == Place::tap) claim(node.id, wish.active->tap.id, wish.active->serial);
}

void AppMover::claim(GlobalID stream, AudioObjectID tap, std::string serial) {
  const auto known = claims_.find(stream);
  if (known != claims_.end() && known->second.serial == serial) {
    // A tap that has taken over the device of another.
    if (std::exchange(known->second.tap, tap) != tap) tellHolder(stream);
    return;
  }
  claims_[stream] = {tap, serial, std::nullopt, 0};
  tellHolder(stream);
  send(stream, serial);
  updateOccupancy();
}

void AppMover::tellHolder(GlobalID stream) {
  if (const GraphNode* const node = graph_.node(stream)) links_.holderChanged(*node);
}

AudioObjectID AppMover::holder(GlobalID stream) const {
  const auto known = claims_.find(stream);
  return known == claims_.end() ? kAudioObjectUnknown : known->second.tap;
}

void AppMover::release(GlobalID stream) {
  if (claims_.erase(stream) == 0) return;
  tellHolder(stream);
  arrivals_.forget(stream);
  write(stream, std::nullopt);
  updateOccupancy();
}

void AppMover::settle(GlobalID stream) { settled_.insert(stream); }

void AppMover::updateOccupancy() {
  room_.setOccupied(std::ranges::any_of(claims_, [](const auto& entry) { return entry.second.waits(); }));
}

void AppMover::placeAll() {
  for (const auto& [id, node] : graph_.nodes()) place(node);
}

void AppMover::look() {
  for (auto& [stream, claim] : claims_)
    if (claim.waits() && ++claim.looks >= WaitingRoom::kLongestWait) settle(stream);
  placeAll();
}

void AppMover::leaveRoom() {
  std::vector<GlobalID> waiting;
  for (const auto& [stream, claim] : claims_)
    if (claim.waits()) waiting.push_back(stream);
  for (const GlobalID stream : waiting) {
    settle(stream);
    release(stream);
  }
}

void AppMover::send(GlobalID stream, const std::string& serial) {
  write(stream, serial);
  arrivals_.sent(stream, serial);
}

void AppMover::write(GlobalID stream, const std::optional<std::string>& target) {
  graph_.defaults().set(stream, kTarget, target, "Spa:Id");
}

// The server gives the number to another stream later: nothing may be left under it.
void AppMover::nodeRemoved(const GraphNode& node) {
  takenAway_.erase(node.id);
  settled_.erase(node.id);
  if (putBack_.erase(node.id) > 0 && !claims_.contains(node.id)) write(node.id, std::nullopt);
  release(node.id);
}

// A session with a memory may send a stranger into a tap because a program like it was there once; and one
// that was let go from the waiting room may be linked to it only then.
void AppMover::linkAdded(const GraphLink& link) {
  arrivals_.changed(link.outputNode);
  const GraphNode* const room = room_.node();
  const bool isOwn = (room && room->id == link.inputNode) ||
                     std::ranges::find(active_, link.inputNode, &Active::sink) != active_.end();
  const GraphNode* stream = graph_.node(link.outputNode);
  if (!isOwn || !stream || !stream->isKnown || claims_.contains(stream->id)) return;
  const std::string target = ownTarget(graph_, *stream);
  log_.warning(fmt::format("Sonmere: {} was sent into a tap that is not its own; putting it back",
                           stream->property("application.name")));
  putBack_[stream->id] = target;
  write(stream->id, target);
}

void AppMover::targetChanged(GlobalID stream, const std::optional<std::string>& value) {
  // Told late, it stands behind a move that was decided meanwhile.
  const auto back = putBack_.find(stream);
  if (back != putBack_.end() && value == back->second) return;
  if (back != putBack_.end()) putBack_.erase(back);
  const auto known = claims_.find(stream);
  if (known != claims_.end() && value == known->second.serial) return arrivals_.returned(stream);
  if (value && arrivals_.isOnDetour(stream)) return;
  if (value && *value == room_.serial()) return sentToRoom(stream);
  if (known == claims_.end()) return;
  Claim& claim = known->second;
  if (!value) {
    arrivals_.forget(stream);
    // Who waited has been let go by another process, because this one did not answer.
    if (claim.waits()) return settle(stream);
    const Active* active = find(claim.tap);
    if (active) claim.letGoAt = active->cycles();
    return;
  }
  // An echo of an earlier move of this program.
  if (std::ranges::any_of(active_, [&](const Active& active) { return active.serial == *value; })) return;
  const GraphNode* node = graph_.node(stream);
  log_.info(
      fmt::format("Sonmere: {} was moved to another device by the user or another program; letting it go",
                  node ? node->property("application.name") : "an app"));
  claims_.erase(known);
  tellHolder(stream);
  arrivals_.forget(stream);
  takenAway_.insert(stream);
  updateOccupancy();
}

// The session manager's script asks, or it is an echo: what was decided meanwhile is said again.
void AppMover::sentToRoom(GlobalID stream) {
  const auto known = claims_.find(stream);
  const GraphNode* node = graph_.node(stream);
  if (known != claims_.end()) {
    if (!known->second.waits()) write(stream, known->second.serial);
    return;
  }
  claims_[stream] = {kAudioObjectUnknown, room_.serial(), std::nullopt, 0};
  arrivals_.sent(stream, room_.serial());
  updateOccupancy();
  if (node) place(*node);
}

void AppMover::tableCameBack() {
  for (auto& [stream, claim] : claims_) {
    claim.letGoAt.reset();
    send(stream, claim.serial);
  }
}

bool AppMover::reclaim() {
  bool isAnyLeft = false;
  for (auto& [stream, claim] : claims_) {
    if (!claim.letGoAt) continue;
    const Active* active = find(claim.tap);
    if (active && active->cycles() != *claim.letGoAt) {
      claim.letGoAt.reset();
      send(stream, claim.serial);
    } else {
      isAnyLeft = true;
    }
  }
  return isAnyLeft;
}

}  // namespace sonmere
