#include "platform/pipewire/GraphMirror.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <spa/debug/types.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/audio/type-info.h>
#include <spa/param/profile.h>
#include <spa/param/props.h>
#include <spa/param/route.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/pod/parser.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace sonmere {

namespace {

AppProperties copy(const spa_dict* dictionary) {
  AppProperties properties;
  if (!dictionary) return properties;
  const spa_dict_item* item = nullptr;
  spa_dict_for_each(item, dictionary) properties[item->key] = item->value ? item->value : "";
  return properties;
}

std::string_view find(const AppProperties& properties, std::string_view key) {
  const auto found = properties.find(key);
  return found == properties.end() ? std::string_view() : std::string_view(found->second);
}

GlobalID number(const AppProperties& properties, std::string_view key) {
  const std::string_view text = find(properties, key);
  GlobalID value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

NodeState stateOf(pw_node_state state) {
  switch (state) {
    case PW_NODE_STATE_ERROR:
      return NodeState::error;
    case PW_NODE_STATE_CREATING:
      return NodeState::creating;
    case PW_NODE_STATE_SUSPENDED:
      return NodeState::suspended;
    case PW_NODE_STATE_IDLE:
      return NodeState::idle;
    case PW_NODE_STATE_RUNNING:
      return NodeState::running;
  }
  return NodeState::error;
}

}  // namespace

std::string_view GraphNode::property(std::string_view key) const { return find(properties, key); }
std::string_view GraphCard::property(std::string_view key) const { return find(properties, key); }

// A bound node, card, client or link.
struct GraphMirror::Binding {
  GraphMirror* mirror;
  GlobalID id;
  pw_proxy* proxy;
  spa_hook listener{};

  ~Binding() {
    spa_hook_remove(&listener);
    pw_proxy_destroy(proxy);
  }

  static void nodeInfo(void* data, const pw_node_info* info) {
    auto* self = static_cast<Binding*>(data);
    GraphNode& node = self->mirror->nodes_[self->id];
    // Events about the state alone bear no properties.
    if (info->props) {
      for (auto& [key, value] : copy(info->props)) node.properties[key] = value;
      node.isKnown = true;
    }
    node.state = stateOf(info->state);
    self->mirror->observer_.nodeChanged(node);
  }

  // A device's volumes, a stream's own format: told now and whenever they change.
  void subscribe(const GraphNode& node) {
    std::uint32_t parameters[] = {node.isDevice() ? SPA_PARAM_Props : SPA_PARAM_EnumFormat, SPA_PARAM_Format};
    const std::uint32_t count = node.isDevice() ? 1 : 2;
    pw_node_subscribe_params(reinterpret_cast<pw_node*>(proxy), parameters, count);
  }

  static void nodeParameter(void* data, int, std::uint32_t id, std::uint32_t index, std::uint32_t,
                            const spa_pod* pod) {
    auto* self = static_cast<Binding*>(data);
    if (!pod) return;
    GraphNode& node = self->mirror->nodes_[self->id];
    if (id == SPA_PARAM_Props) readVolumes(pod, node);
    // Of several formats that a stream offers the first is its favourite, until one has been agreed on.
    const bool isOwn = id == SPA_PARAM_Format || (id == SPA_PARAM_EnumFormat && index == 0);
    if (isOwn && readPositions(pod, node)) self->mirror->observer_.nodeChanged(node);
  }

  static void readVolumes(const spa_pod* pod, GraphNode& node) {
    const spa_pod_prop* property = spa_pod_find_prop(pod, nullptr, SPA_PROP_channelVolumes);
    if (!property) return;
    std::array<float, SPA_AUDIO_MAX_CHANNELS> volumes{};
    const std::uint32_t count =
        spa_pod_copy_array(&property->value, SPA_TYPE_Float, volumes.data(), std::uint32_t(volumes.size()));
    node.channelVolumes.assign(volumes.data(), volumes.data() + count);
  }

  // True: they are others than before.
  static bool readPositions(const spa_pod* pod, GraphNode& node) {
    spa_audio_info_raw format{};
    if (spa_format_audio_raw_parse(pod, &format) < 0 || (format.flags & SPA_AUDIO_FLAG_UNPOSITIONED) != 0)
      return false;
    std::vector<std::string> positions;
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(format.channels, SPA_AUDIO_MAX_CHANNELS); ++i) {
      const char* name = spa_debug_type_find_short_name(spa_type_audio_channel, format.position[i]);
      positions.emplace_back(name ? name : "UNK");
    }
    return std::exchange(node.positions, positions) != positions;
  }

  static void linkInfo(void* data, const pw_link_info* info) {
    auto* self = static_cast<Binding*>(data);
    self->mirror->links_[self->id].isActive = info->state == PW_LINK_STATE_ACTIVE;
  }

  static void cardInfo(void* data, const pw_device_info* info) {
    auto* self = static_cast<Binding*>(data);
    if (info->props)
      for (auto& [key, value] : copy(info->props)) self->mirror->cards_[self->id].properties[key] = value;
    // A subscription would tell the first ones only.
    if ((info->change_mask & PW_DEVICE_CHANGE_MASK_PARAMS) != 0)
      pw_device_enum_params(reinterpret_cast<pw_device*>(self->proxy), 0, SPA_PARAM_Route, 0, UINT32_MAX,
                            nullptr);
  }

  // All of a card's ways are asked for when one of them changes.
  static void cardParameter(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                            const spa_pod* pod) {
    auto* self = static_cast<Binding*>(data);
    const char* name = nullptr;
    std::int32_t device = 0;
    std::uint32_t direction = SPA_DIRECTION_OUTPUT;
    const spa_pod* details = nullptr;
    if (!pod || id != SPA_PARAM_Route ||
        spa_pod_parse_object(pod, SPA_TYPE_OBJECT_ParamRoute, nullptr, SPA_PARAM_ROUTE_direction,
                             SPA_POD_Id(&direction), SPA_PARAM_ROUTE_device, SPA_POD_Int(&device),
                             SPA_PARAM_ROUTE_name, SPA_POD_OPT_String(&name), SPA_PARAM_ROUTE_info,
                             SPA_POD_OPT_Pod(&details)) < 0)
      return;
    GraphCard& card = self->mirror->cards_[self->id];
    GraphRoute route{name ? name : "", details ? portType(details) : ""};
    GraphRoute& known = card.routes[{direction == SPA_DIRECTION_OUTPUT, device}];
    if (std::exchange(known, route) != route) self->mirror->observer_.routesChanged(card);
  }

  // Of a structure that holds a number of pairs, and the pairs.
  static std::string portType(const spa_pod* details) {
    spa_pod_parser parser{};
    spa_pod_frame frame{};
    std::int32_t pairs = 0;
    spa_pod_parser_pod(&parser, details);
    if (spa_pod_parser_push_struct(&parser, &frame) < 0 || spa_pod_parser_get_int(&parser, &pairs) < 0)
      return {};
    for (std::int32_t i = 0; i < pairs; ++i) {
      const char *key = nullptr, *value = nullptr;
      if (spa_pod_parser_get_string(&parser, &key) < 0 || spa_pod_parser_get_string(&parser, &value) < 0)
        return {};
      if (std::string_view(key) == "port.type") return value;
    }
    return {};
  }

  static void clientInfo(void* data, const pw_client_info* info) {
    auto* self = static_cast<Binding*>(data);
    if (!info->props) return;
    GraphClient& client = self->mirror->clients_[self->id];
    for (auto& [key, value] : copy(info->props)) client.properties[key] = value;
    client.isKnown = true;
    self->mirror->observer_.clientChanged(client);
  }
};

struct GraphMirror::Hooks {
  GraphMirror* mirror;
  spa_hook listener{};

  static void global(void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                     const spa_dict* properties) {
    static_cast<Hooks*>(data)->mirror->added(id, type, copy(properties));
  }
  static void globalRemove(void* data, std::uint32_t id) { static_cast<Hooks*>(data)->mirror->removed(id); }
};

GraphMirror::GraphMirror(GraphObserver& observer) : observer_(observer) {}

GraphMirror::~GraphMirror() { detach(); }

void GraphMirror::attach(pw_core* core) {
  static const pw_registry_events kEvents = {
      .version = PW_VERSION_REGISTRY_EVENTS, .global = Hooks::global, .global_remove = Hooks::globalRemove};
  registry_ = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
  hooks_ = std::make_unique<Hooks>(this);
  pw_registry_add_listener(registry_, &hooks_->listener, &kEvents, hooks_.get());
}

void GraphMirror::detach() {
  if (!registry_) return;
  defaults_.unbind();
  settings_.unbind();
  bindings_.clear();
  nodes_.clear();
  cards_.clear();
  clients_.clear();
  ports_.clear();
  links_.clear();
  defaultsTables_.clear();
  spa_hook_remove(&hooks_->listener);
  hooks_.reset();
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  registry_ = nullptr;
}

const GraphNode* GraphMirror::node(GlobalID id) const {
  const auto found = nodes_.find(id);
  return found == nodes_.end() ? nullptr : &found->second;
}

const GraphClient* GraphMirror::client(GlobalID id) const {
  const auto found = clients_.find(id);
  return found == clients_.end() ? nullptr : &found->second;
}

const GraphCard* GraphMirror::cardOf(const GraphNode& node) const {
  const auto found = cards_.find(number(node.properties, PW_KEY_DEVICE_ID));
  return found == cards_.end() ? nullptr : &found->second;
}

const GraphRoute* GraphMirror::routeOf(const GraphNode& node, bool isOutput) const {
  const GraphCard* card = cardOf(node);
  if (!card || node.property("card.profile.device").empty()) return nullptr;
  const auto found = card->routes.find({isOutput, int(number(node.properties, "card.profile.device"))});
  return found == card->routes.end() ? nullptr : &found->second;
}

bool GraphMirror::isHeard(GlobalID node) const {
  bool isLinked = false;
  for (const auto& [id, link] : links_) {
    if (link.outputNode != node) continue;
    if (!link.isActive) return false;
    isLinked = true;
  }
  return isLinked;
}

void GraphMirror::destroy(GlobalID id) {
  if (registry_) pw_registry_destroy(registry_, id);
}

bool GraphMirror::setVolume(GlobalID id, float volume) {
  const auto known = nodes_.find(id);
  const auto binding = bindings_.find(id);
  if (known == nodes_.end() || binding == bindings_.end() || known->second.channelVolumes.empty())
    return false;
  auto& volumes = known->second.channelVolumes;
  std::ranges::fill(volumes, volume);
  std::uint8_t space[1024];
  spa_pod_builder builder{};
  builder.data = space;
  builder.size = sizeof space;
  spa_pod_frame frame;
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
  spa_pod_builder_prop(&builder, SPA_PROP_channelVolumes, 0);
  spa_pod_builder_array(&builder, sizeof(float), SPA_TYPE_Float, std::uint32_t(volumes.size()),
                        volumes.data());
  const auto* pod = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
  return pw_node_set_param(reinterpret_cast<pw_node*>(binding->second->proxy), SPA_PARAM_Props, 0, pod) >= 0;
}

void GraphMirror::added(GlobalID id, std::string_view type, const AppProperties& properties) {
  if (type == PW_TYPE_INTERFACE_Node)
    addNode(id, properties);
  else if (type == PW_TYPE_INTERFACE_Device)
    addCard(id, properties);
  else if (type == PW_TYPE_INTERFACE_Client)
    addClient(id, properties);
  else if (type == PW_TYPE_INTERFACE_Port)
    addPort(id, properties);
  else if (type == PW_TYPE_INTERFACE_Link)
    addLink(id, properties);
  else if (type == PW_TYPE_INTERFACE_Metadata)
    addMetadata(id, properties);
}

void GraphMirror::addNode(GlobalID id, const AppProperties& properties) {
  static const pw_node_events kEvents = {
      .version = PW_VERSION_NODE_EVENTS, .info = Binding::nodeInfo, .param = Binding::nodeParameter};
  GraphNode& node = nodes_[id];
  node.id = id;
  node.client = number(properties, PW_KEY_CLIENT_ID);
  node.serial = find(properties, PW_KEY_OBJECT_SERIAL);
  node.properties = properties;
  auto* proxy =
      static_cast<pw_proxy*>(pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
  if (proxy) {
    auto& binding = bindings_[id] = std::make_unique<Binding>(this, id, proxy);
    pw_proxy_add_object_listener(proxy, &binding->listener, &kEvents, binding.get());
    if (node.isDevice() || node.isPlaybackStream()) binding->subscribe(node);
  }
  observer_.nodeChanged(node);
}

void GraphMirror::addCard(GlobalID id, const AppProperties& properties) {
  static const pw_device_events kEvents = {
      .version = PW_VERSION_DEVICE_EVENTS, .info = Binding::cardInfo, .param = Binding::cardParameter};
  cards_[id] = {id, properties, {}};
  auto* proxy =
      static_cast<pw_proxy*>(pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Device, PW_VERSION_DEVICE, 0));
  if (!proxy) return;
  auto& binding = bindings_[id] = std::make_unique<Binding>(this, id, proxy);
  pw_proxy_add_object_listener(proxy, &binding->listener, &kEvents, binding.get());
}

void GraphMirror::addClient(GlobalID id, const AppProperties& properties) {
  static const pw_client_events kEvents = {
      .version = PW_VERSION_CLIENT_EVENTS, .info = Binding::clientInfo, .permissions = nullptr};
  GraphClient& client = clients_[id];
  client.id = id;
  client.properties = properties;
  auto* proxy =
      static_cast<pw_proxy*>(pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Client, PW_VERSION_CLIENT, 0));
  if (!proxy) return;
  auto& binding = bindings_[id] = std::make_unique<Binding>(this, id, proxy);
  pw_proxy_add_object_listener(proxy, &binding->listener, &kEvents, binding.get());
}

void GraphMirror::addPort(GlobalID id, const AppProperties& properties) {
  GraphPort port{id, number(properties, PW_KEY_NODE_ID), find(properties, PW_KEY_PORT_DIRECTION) == "out",
                 find(properties, PW_KEY_PORT_MONITOR) == "true",
                 std::string(find(properties, PW_KEY_AUDIO_CHANNEL))};
  observer_.portAdded(ports_[id] = std::move(port));
}

void GraphMirror::addLink(GlobalID id, const AppProperties& properties) {
  static const pw_link_events kEvents = {.version = PW_VERSION_LINK_EVENTS, .info = Binding::linkInfo};
  const GraphLink link{id, number(properties, PW_KEY_LINK_OUTPUT_NODE),
                       number(properties, PW_KEY_LINK_INPUT_NODE)};
  links_[id] = link;
  auto* proxy =
      static_cast<pw_proxy*>(pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, 0));
  if (proxy) {
    auto& binding = bindings_[id] = std::make_unique<Binding>(this, id, proxy);
    pw_proxy_add_object_listener(proxy, &binding->listener, &kEvents, binding.get());
  }
  observer_.linkAdded(link);
}

void GraphMirror::addMetadata(GlobalID id, const AppProperties& properties) {
  const std::string_view name = find(properties, PW_KEY_METADATA_NAME);
  if (name == "default") {
    defaultsTables_.insert(id);
    defaults_.bind(registry_, id);
  }
  if (name == "settings") settings_.bind(registry_, id);
}

void GraphMirror::askForDefaults() {
  if (defaultsTables_.empty()) return;
  auto next = defaultsTables_.begin();
  for (const GlobalID id : defaultsTables_)
    if (defaults_.isBoundTo(id)) next = defaultsTables_.upper_bound(id);
  defaults_.bind(registry_, next == defaultsTables_.end() ? *defaultsTables_.begin() : *next);
}

void GraphMirror::removeMetadata(GlobalID id) {
  defaultsTables_.erase(id);
  for (MetadataMirror* metadata : {&defaults_, &settings_})
    if (metadata->isBoundTo(id)) metadata->unbind();
  if (!defaults_.isPresent()) askForDefaults();
}

void GraphMirror::removed(GlobalID id) {
  bindings_.erase(id);
  cards_.erase(id);
  if (auto node = nodes_.extract(id)) observer_.nodeRemoved(node.mapped());
  if (auto client = clients_.extract(id)) observer_.clientRemoved(client.mapped());
  if (auto port = ports_.extract(id)) observer_.portRemoved(port.mapped());
  if (auto link = links_.extract(id)) observer_.linkRemoved(link.mapped());
  removeMetadata(id);
}

}  // namespace sonmere
