#include "platform/pipewire/TapLinks.h"

#include <pipewire/pipewire.h>

#include <string>

namespace sonmere {

// The server answers with a proxy that stands for the link; destroying it undoes the link.
struct TapLinks::Link {
  pw_proxy* proxy = nullptr;
  ~Link() { pw_proxy_destroy(proxy); }
};

TapLinks::TapLinks(const GraphMirror& graph, const ProcessDirectory& processes)
    : graph_(graph), processes_(processes) {}

TapLinks::~TapLinks() = default;

std::vector<std::uint32_t> TapLinks::mixdown(std::string_view channel) {
  if (channel == "LFE" || channel == "LFE2") return {};
  if (channel.starts_with("AUX")) return {std::uint32_t((channel.back() - '0') % 2)};
  if (channel.ends_with("L") || channel == "FLC" || channel == "RLC") return {0};
  if (channel.ends_with("R") || channel == "FRC" || channel == "RRC") return {1};
  return {0, 1};
}

void TapLinks::start(const PipeWireTap& tap, GlobalID listener) {
  active_.push_back({tap, listener});
  connectAll(active_.back());
}

void TapLinks::stop(AudioObjectID tap) {
  std::erase_if(active_, [&](const Active& active) { return active.tap.id == tap; });
  std::erase_if(links_, [&](const auto& entry) { return std::get<0>(entry.first) == tap; });
}

void TapLinks::reset() {
  active_.clear();
  links_.clear();
}

void TapLinks::connectAll(const Active& active) {
  for (const auto& [id, process] : processes_.all())
    for (const GlobalID stream : process.streams)
      if (const GraphNode* node = graph_.node(stream)) connect(active, *node);
}

void TapLinks::connect(const Active& active, const GraphNode& stream) {
  const PipeWireProcess* process = processes_.processOfStream(stream);
  if (!process || !active.tap.covers(process->id)) return;
  for (const auto& [fromID, from] : graph_.ports()) {
    if (from.node != stream.id || !from.isOutput || from.isMonitor) continue;
    for (const std::uint32_t side : mixdown(from.channel))
      for (const auto& [toID, to] : graph_.ports())
        if (to.node == active.listener && !to.isOutput && to.channel == (side == 0 ? "FL" : "FR"))
          makeLink(active, from, to);
  }
}

void TapLinks::makeLink(const Active& active, const GraphPort& from, const GraphPort& to) {
  auto& link = links_[{active.tap.id, from.id, to.id}];
  if (link || !core_) return;
  pw_properties* properties = pw_properties_new(nullptr, nullptr);
  pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", from.id);
  pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", to.id);
  auto* proxy = static_cast<pw_proxy*>(pw_core_create_object(core_, "link-factory", PW_TYPE_INTERFACE_Link,
                                                             PW_VERSION_LINK, &properties->dict, 0));
  pw_properties_free(properties);
  if (proxy)
    link = std::make_unique<Link>(proxy);
  else
    links_.erase({active.tap.id, from.id, to.id});
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
}

void TapLinks::nodeChanged(const GraphNode& node) {
  if (!node.isPlaybackStream()) return;
  for (const Active& active : active_) connect(active, node);
}

}  // namespace sonmere
