#include "platform/pipewire/TapLinks.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <string>

#include "platform/pipewire/TapMixdown.h"

namespace sonmere {

namespace {
// While its ports are being made anew a stream takes no links; that is over within a second.
constexpr int kMostRefusals = 20;
}  // namespace

// The server answers with a proxy that stands for the link; destroying it undoes the link.
struct TapLinks::Link {
  TapLinks* const links;
  pw_proxy* const proxy;
  const GlobalID stream;
  bool isDead = false;
  spa_hook listener{};

  Link(TapLinks* itsLinks, pw_proxy* itsProxy, GlobalID itsStream)
      : links(itsLinks), proxy(itsProxy), stream(itsStream) {
    static const pw_proxy_events kEvents = [] {
      pw_proxy_events events{};
      events.version = PW_VERSION_PROXY_EVENTS;
      events.removed = [](void* data) { static_cast<Link*>(data)->died(); };
      events.error = [](void* data, int, int, const char*) { static_cast<Link*>(data)->died(); };
      return events;
    }();
    pw_proxy_add_listener(proxy, &listener, &kEvents, this);
  }
  ~Link() {
    spa_hook_remove(&listener);
    pw_proxy_destroy(proxy);
  }
  void died() {
    isDead = true;
    if (links->refused) links->refused();
  }
};

TapLinks::TapLinks(const GraphMirror& graph, const ProcessDirectory& processes)
    : graph_(graph), processes_(processes) {}

TapLinks::~TapLinks() = default;

void TapLinks::start(const PipeWireTap& tap, GlobalID listener) {
  active_.push_back({tap, listener});
  connectAll(active_.back());
}

void TapLinks::stop(AudioObjectID tap) {
  std::erase_if(active_, [&](const Active& active) { return active.tap.id == tap; });
  std::erase_if(links_, [&](const auto& entry) { return std::get<0>(entry.first) == tap; });
  std::erase_if(refusals_, [&](const auto& entry) { return std::get<0>(entry.first) == tap; });
}

void TapLinks::reset() {
  active_.clear();
  links_.clear();
  refusals_.clear();
}

void TapLinks::connectAll(const Active& active) {
  for (const auto& [id, process] : processes_.all())
    for (const GlobalID stream : process.streams)
      if (const GraphNode* node = graph_.node(stream)) connect(active, *node);
}

// The links that a tap should have from a stream as it is now; those that it should not have go.
void TapLinks::connect(const Active& active, const GraphNode& stream) {
  const std::set<Key> wanted = wantedLinks(active, stream);
  std::erase_if(links_, [&](const auto& entry) {
    return entry.second->stream == stream.id && std::get<0>(entry.first) == active.tap.id &&
           !wanted.contains(entry.first);
  });
  for (const Key& key : wanted)
    if (!links_.contains(key)) makeLink(key, stream.id);
}

bool TapLinks::isHeldByAnother(const Active& active, GlobalID stream) const {
  const AudioObjectID tap = holder ? holder(stream) : kAudioObjectUnknown;
  return tap != kAudioObjectUnknown && tap != active.tap.id;
}

void TapLinks::holderChanged(const GraphNode& stream) {
  for (const Active& active : active_)
    if (active.tap.isMuted()) connect(active, stream);
}

bool TapLinks::isBeside(GlobalID stream, GlobalID device) const {
  return std::ranges::any_of(active_, [&](const Active& active) {
    return active.listener == device && std::ranges::any_of(links_, [&](const auto& entry) {
             return std::get<0>(entry.first) == active.tap.id && entry.second->stream == stream;
           });
  });
}

std::set<TapLinks::Key> TapLinks::wantedLinks(const Active& active, const GraphNode& stream) const {
  const PipeWireProcess* process = processes_.processOfStream(stream);
  if (!process || !active.tap.covers(process->id)) return {};
  if (active.tap.isMuted() && !isHeldByAnother(active, stream.id)) return {};
  std::map<std::string, GlobalID> inputs;
  std::vector<const GraphPort*> outputs;
  std::vector<std::string> channels;
  for (const auto& [id, port] : graph_.ports()) {
    if (port.node == active.listener && !port.isOutput) inputs[port.channel] = id;
    if (port.node != stream.id || !port.isOutput || port.isMonitor) continue;
    outputs.push_back(&port);
    channels.push_back(port.channel);
  }
  const auto taken = TapMixdown::wanted(channels, stream.positions);
  std::set<Key> keys;
  for (const GraphPort* port : outputs) {
    if (std::ranges::find(taken, port->channel) == taken.end()) continue;
    for (const auto& target : TapMixdown::targets(port->channel))
      if (const auto to = inputs.find(target); to != inputs.end())
        keys.emplace(active.tap.id, port->id, to->second);
  }
  return keys;
}

void TapLinks::makeLink(const Key& key, GlobalID stream) {
  if (!core_) return;
  pw_properties* properties = pw_properties_new(nullptr, nullptr);
  pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", std::get<1>(key));
  pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", std::get<2>(key));
  auto* proxy = static_cast<pw_proxy*>(pw_core_create_object(core_, "link-factory", PW_TYPE_INTERFACE_Link,
                                                             PW_VERSION_LINK, &properties->dict, 0));
  pw_properties_free(properties);
  if (proxy) links_[key] = std::make_unique<Link>(this, proxy, stream);
}

bool TapLinks::look() {
  std::set<GlobalID> streams;
  for (const auto& [key, link] : links_) {
    if (!link->isDead)
      refusals_.erase(key);
    else if (++refusals_[key] <= kMostRefusals)
      streams.insert(link->stream);
  }
  std::erase_if(links_, [](const auto& entry) { return entry.second->isDead; });
  for (const Active& active : active_)
    for (const GlobalID stream : streams)
      if (const GraphNode* node = graph_.node(stream)) connect(active, *node);
  return !streams.empty();
}

bool TapLinks::hears(const Active& active, GlobalID stream) const {
  bool isLinked = false;
  for (const auto& [id, link] : graph_.links()) {
    if (link.outputNode != stream || link.inputNode != active.listener) continue;
    if (!link.isActive) return false;
    isLinked = true;
  }
  return isLinked;
}

TapLinks::Hearing TapLinks::hearing(const GraphNode& stream) const {
  const PipeWireProcess* process = processes_.processOfStream(stream);
  Hearing hearing = Hearing::nobody;
  for (const Active& active : active_) {
    if (!process || active.tap.isMuted() || !active.tap.covers(process->id)) continue;
    if (!hears(active, stream.id)) return Hearing::notYet;
    hearing = Hearing::heard;
  }
  return hearing;
}

void TapLinks::portAdded(const GraphPort& port) {
  for (const Active& active : active_) {
    if (port.node == active.listener)
      connectAll(active);
    else if (const GraphNode* node = graph_.node(port.node); node && node->isPlaybackStream())
      connect(active, *node);
  }
}

void TapLinks::portRemoved(const GraphPort& port) {
  std::erase_if(links_, [&](const auto& entry) {
    return std::get<1>(entry.first) == port.id || std::get<2>(entry.first) == port.id;
  });
  std::erase_if(refusals_, [&](const auto& entry) {
    return std::get<1>(entry.first) == port.id || std::get<2>(entry.first) == port.id;
  });
  // What is left may be taken otherwise.
  portAdded(port);
}

void TapLinks::nodeChanged(const GraphNode& node) {
  if (!node.isPlaybackStream()) return;
  for (const Active& active : active_) connect(active, node);
}

}  // namespace sonmere
