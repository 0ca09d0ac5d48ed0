#include "platform/pipewire/AppMover.h"

#include <fmt/format.h>

#include <ranges>

namespace sonmere {

namespace {
const std::string kTarget = "target.object";
// "Anywhere": the default device.
constexpr const char* kNoTarget = "-1";
}  // namespace

AppMover::AppMover(GraphMirror& graph, const ProcessDirectory& processes, Log& log)
    : graph_(graph), processes_(processes), log_(log) {}

bool AppMover::isMovable(const GraphNode& stream) { return stream.property("node.dont-reconnect") != "true"; }

void AppMover::start(const PipeWireTap& tap, GlobalID sink, std::function<std::uint64_t()> cycles) {
  const GraphNode* node = graph_.node(sink);
  if (!node) return;
  active_.push_back({tap, sink, node->serial, std::move(cycles)});
  placeAll();
}

void AppMover::stop(AudioObjectID tap) {
  std::erase_if(active_, [&](const Active& active) { return active.tap.id == tap; });
  placeAll();
}

void AppMover::reset() {
  active_.clear();
  claims_.clear();
  takenAway_.clear();
}

const AppMover::Active* AppMover::wanted(const GraphNode& node) const {
  if (active_.empty() || takenAway_.contains(node.id) || !isMovable(node)) return nullptr;
  const PipeWireProcess* process = judgedAs(node);
  if (!process) return nullptr;
  for (const Active& active : active_ | std::views::reverse)
    if (active.tap.covers(process->id)) return &active;
  return nullptr;
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

void AppMover::place(const GraphNode& node) {
  if (!node.isPlaybackStream()) return;
  const Active* active = wanted(node);
  const auto claim = claims_.find(node.id);
  if (!active) {
    if (claim == claims_.end()) return;
    claims_.erase(claim);
    write(node.id, std::nullopt);
    return;
  }
  if (claim != claims_.end() && claim->second.serial == active->serial) return;
  claims_[node.id] = {active->tap.id, active->serial, std::nullopt};
  write(node.id, active->serial);
}

void AppMover::placeAll() {
  for (const auto& [id, node] : graph_.nodes()) place(node);
}

void AppMover::write(GlobalID stream, const std::optional<std::string>& target) {
  graph_.defaults().set(stream, kTarget, target, "Spa:Id");
}

// The server gives the number to another stream later: nothing may be left under it.
void AppMover::nodeRemoved(const GraphNode& node) {
  takenAway_.erase(node.id);
  if (claims_.erase(node.id) > 0) write(node.id, std::nullopt);
}

// A session with a memory may send a stranger into a tap because a program like it was there once.
void AppMover::linkAdded(const GraphLink& link) {
  const auto into = std::ranges::find(active_, link.inputNode, &Active::sink);
  const GraphNode* stream = graph_.node(link.outputNode);
  if (into == active_.end() || !stream || !stream->isKnown || claims_.contains(stream->id)) return;
  log_.warning(fmt::format("Sonmere: {} was sent into a tap that is not its own; putting it back",
                           stream->property("application.name")));
  write(stream->id, kNoTarget);
}

void AppMover::targetChanged(GlobalID stream, const std::optional<std::string>& value) {
  const auto claim = claims_.find(stream);
  if (claim == claims_.end() || value == claim->second.serial) return;
  if (!value) {
    const Active* active = find(claim->second.tap);
    if (active) claim->second.letGoAt = active->cycles();
    return;
  }
  // An echo of an earlier move of this program.
  if (std::ranges::any_of(active_, [&](const Active& active) { return active.serial == *value; })) return;
  const GraphNode* node = graph_.node(stream);
  log_.info(
      fmt::format("Sonmere: {} was moved to another device by the user or another program; letting it go",
                  node ? node->property("application.name") : "an app"));
  claims_.erase(claim);
  takenAway_.insert(stream);
}

void AppMover::tableCameBack() {
  for (auto& [stream, claim] : claims_) {
    claim.letGoAt.reset();
    write(stream, claim.serial);
  }
}

bool AppMover::reclaim() {
  bool isAnyLeft = false;
  for (auto& [stream, claim] : claims_) {
    if (!claim.letGoAt) continue;
    const Active* active = find(claim.tap);
    if (active && active->cycles() != *claim.letGoAt) {
      claim.letGoAt.reset();
      write(stream, claim.serial);
    } else {
      isAnyLeft = true;
    }
  }
  return isAnyLeft;
}

}  // namespace sonmere
