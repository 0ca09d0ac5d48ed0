#include "platform/pipewire/ProcessDirectory.h"

#include <unistd.h>

#include <algorithm>

#include "platform/desktop/ProcessFacts.h"

namespace sonmere {

namespace {

const AppProperties kNoProperties;

// The server's own plumbing shows as streams too.
bool isPlumbing(const GraphNode& node) {
  return !node.property("node.link-group").empty() || node.property("node.virtual") == "true";
}

}  // namespace

ProcessDirectory::ProcessDirectory(const GraphMirror& graph, const DesktopEntries& entries,
                                   std::function<AudioObjectID()> newID)
    : graph_(graph), entries_(entries), newID_(std::move(newID)) {}

// A client in a sandbox knows only its number there.
ProcessID ProcessDirectory::processIDOf(const AppProperties& stream, const AppProperties& client) const {
  const ProcessID pid = streamProcessID(stream, client);
  return pid > 0 ? pid : sandboxes_.find(stream, client);
}

std::optional<ProcessDirectory::Place> ProcessDirectory::placeOf(const GraphNode& node) const {
  if (!node.isPlaybackStream() || isPlumbing(node)) return std::nullopt;
  const GraphClient* client = graph_.client(node.client);
  const ProcessID pid = processIDOf(node.properties, client ? client->properties : kNoProperties);
  if (pid <= 0 || pid == getpid()) return std::nullopt;
  return Place{pid, isEventSound(node.properties)};
}

const PipeWireProcess* ProcessDirectory::find(const Place& place) const {
  for (const auto& [id, process] : processes_)
    if (process.pid == place.pid && process.playsEventSounds == place.playsEventSounds) return &process;
  return nullptr;
}

const PipeWireProcess* ProcessDirectory::processOfStream(const GraphNode& node) const {
  const auto place = placeOf(node);
  return place ? find(*place) : nullptr;
}

std::optional<std::string> ProcessDirectory::bundleIDOfStream(const GraphNode& node) const {
  const auto place = placeOf(node);
  if (!place) return std::nullopt;
  if (const PipeWireProcess* process = find(*place)) return process->identity.bundleID;
  const GraphClient* client = graph_.client(node.client);
  if (!client || !client->isKnown) return std::nullopt;
  return identifyApp(node.properties, client->properties, readProcessFacts(place->pid), entries_).bundleID;
}

const PipeWireProcess* ProcessDirectory::relativeOfStream(const GraphNode& node) const {
  const auto bundleID = bundleIDOfStream(node);
  for (const auto& [id, process] : processes_)
    if (process.identity.bundleID == bundleID) return &process;
  return nullptr;
}

PipeWireProcess& ProcessDirectory::entry(const Place& place, const GraphNode& node) {
  if (const PipeWireProcess* known = find(place)) return processes_.at(known->id);
  const AudioObjectID id = newID_();
  PipeWireProcess& process = processes_[id];
  process.id = id;
  process.pid = place.pid;
  process.playsEventSounds = place.playsEventSounds;
  const GraphClient* client = graph_.client(node.client);
  process.identity = identifyApp(node.properties, client ? client->properties : kNoProperties,
                                 readProcessFacts(place.pid), entries_);
  if (appeared) appeared(place.pid, process.identity);
  if (listChanged) listChanged();
  return process;
}

void ProcessDirectory::nodeChanged(const GraphNode& node) {
  // Whose a stream is, and whether it is one at all, is certain only once all is known of it.
  if (!node.isKnown) return;
  const auto place = placeOf(node);
  if (!place) return;
  PipeWireProcess& process = entry(*place, node);
  process.streams.insert(node.id);
  updateRunning(process);
}

void ProcessDirectory::nodeRemoved(const GraphNode& node) {
  for (auto& [id, process] : processes_) {
    if (process.streams.erase(node.id) == 0) continue;
    updateRunning(process);
    dropIfGone(id);
    return;
  }
}

void ProcessDirectory::clientChanged(const GraphClient& client) {
  for (const auto& [id, node] : graph_.nodes())
    if (node.client == client.id) nodeChanged(node);
}

void ProcessDirectory::clientRemoved(const GraphClient&) {
  std::vector<AudioObjectID> known;
  for (const auto& [id, process] : processes_) known.push_back(id);
  for (const AudioObjectID id : known) dropIfGone(id);
}

void ProcessDirectory::clear() {
  for (const auto& [id, process] : processes_)
    if (vanished) vanished(process.pid);
  processes_.clear();
}

bool ProcessDirectory::isConnected(ProcessID pid) const {
  return std::ranges::any_of(graph_.clients(), [&](const auto& entry) {
    return processIDOf(kNoProperties, entry.second.properties) == pid;
  });
}

void ProcessDirectory::updateRunning(PipeWireProcess& process) {
  const bool running = std::ranges::any_of(process.streams, [&](GlobalID id) {
    const GraphNode* node = graph_.node(id);
    return node && node->state == NodeState::running;
  });
  if (std::exchange(process.isRunning, running) != running && runningChanged) runningChanged(process.id);
}

void ProcessDirectory::dropIfGone(AudioObjectID id) {
  const auto found = processes_.find(id);
  if (found == processes_.end() || !found->second.streams.empty() || isConnected(found->second.pid)) return;
  const ProcessID pid = found->second.pid;
  processes_.erase(found);
  const bool isLast =
      std::ranges::none_of(processes_, [&](const auto& entry) { return entry.second.pid == pid; });
  if (isLast && vanished) vanished(pid);
  if (listChanged) listChanged();
}

const PipeWireProcess* ProcessDirectory::process(AudioObjectID id) const {
  const auto found = processes_.find(id);
  return found == processes_.end() ? nullptr : &found->second;
}

}  // namespace sonmere
