#include "platform/pipewire/DeviceDirectory.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace sonmere {

namespace {

enum class Side { none, sink, source };

Side sideOf(const GraphNode& node) {
  const std::string_view mediaClass = node.mediaClass();
  if (mediaClass == "Audio/Sink" || mediaClass == "Audio/Sink/Internal" || mediaClass == "Audio/Duplex")
    return Side::sink;
  if (mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual" ||
      mediaClass == "Audio/Source/Internal")
    return Side::source;
  return Side::none;
}

bool isInternal(const GraphNode& node) { return node.mediaClass().ends_with("/Internal"); }

std::uint32_t dataSourceOf(const GraphRoute& route, bool isOutput, bool isBuiltIn) {
  const std::string_view type = route.portType;
  if (type == "headphones" || type == "headset") return isOutput ? kDataSourceHeadphones : kDataSourceHeadset;
  if (type == "hdmi") return TransportType::hdmi;
  if (type == "line") return kDataSourceLine;
  if (isOutput)
    return isBuiltIn && type == "speaker" ? kDataSourceInternalSpeaker : kDataSourceExternalSpeaker;
  const bool isInternal = isBuiltIn && route.name.find("nternal") != std::string::npos;
  return isInternal ? kDataSourceInternalMicrophone : kDataSourceExternalMicrophone;
}

// "[ FL FR ]", "FL,FR" and "FL FR" are all in use.
std::vector<std::string> splitPositions(std::string_view text) {
  std::string plain(text);
  for (char& c : plain)
    if (c == '[' || c == ']' || c == ',' || c == '"') c = ' ';
  std::istringstream words(plain);
  std::vector<std::string> positions;
  for (std::string word; words >> word;) positions.push_back(word);
  return positions;
}

}  // namespace

DeviceDirectory::DeviceDirectory(const GraphMirror& graph, std::function<AudioObjectID()> newID)
    : graph_(graph), newID_(std::move(newID)) {}

void DeviceDirectory::nodeChanged(const GraphNode& node) {
  const Side side = sideOf(node);
  // What a device consists of is certain only once all is known of it.
  if (!node.isKnown || departing_.contains(node.id)) return;
  // Hidden devices are known only where this program has announced them.
  if (side == Side::none || node.name().empty() ||
      ((isInternal(node) || node.isOwn()) && !deviceNamed(node.name())))
    return;
  PipeWireDevice& device = entry(std::string(node.name()));
  std::optional<GlobalID>& slot = side == Side::sink ? device.sink : device.source;
  if (slot != node.id) {
    slot = node.id;
    if (listChanged) listChanged();
    if (deviceChanged)
      deviceChanged(device.id, AudioProperty::streamConfiguration,
                    side == Side::sink ? AudioScope::output : AudioScope::input);
  }
  const bool running = node.state == NodeState::running;
  if (std::exchange(wasRunning_[node.id], running) != running && deviceChanged)
    deviceChanged(device.id, AudioProperty::isRunningSomewhere, AudioScope::global);
}

void DeviceDirectory::nodeRemoved(const GraphNode& node) {
  wasRunning_.erase(node.id);
  departing_.erase(node.id);
  const PipeWireDevice* known = deviceOfNode(node.id);
  if (!known) return;
  PipeWireDevice& device = devices_.at(known->id);
  const AudioDeviceID id = device.id;
  if (device.sink == node.id) device.sink.reset();
  if (device.source == node.id) device.source.reset();
  const bool isGone = !device.anySide();
  if (isGone) devices_.erase(id);
  if (listChanged) listChanged();
  if (deviceChanged)
    deviceChanged(id, isGone ? AudioProperty::isAlive : AudioProperty::streamConfiguration,
                  AudioScope::global);
}

void DeviceDirectory::clear() {
  devices_.clear();
  wasRunning_.clear();
  departing_.clear();
}

PipeWireDevice& DeviceDirectory::entry(const std::string& uid) {
  if (const PipeWireDevice* known = deviceNamed(uid)) return devices_.at(known->id);
  const AudioDeviceID id = newID_();
  PipeWireDevice& device = devices_[id];
  device.id = id;
  device.uid = uid;
  return device;
}

AudioDeviceID DeviceDirectory::expect(const std::string& uid, bool isPrivate,
                                      std::vector<std::string> members) {
  // An aggregate of that name may be on its way out: what is told of it still is not this one's.
  for (const auto& [id, node] : graph_.nodes())
    if (node.name() == uid) departing_.insert(id);
  PipeWireDevice& device = entry(uid);
  device.isPrivate = isPrivate;
  device.isAggregate = true;
  device.members = std::move(members);
  return device.id;
}

void DeviceDirectory::forget(AudioDeviceID device) {
  if (devices_.erase(device) > 0 && listChanged) listChanged();
}

const PipeWireDevice* DeviceDirectory::device(AudioDeviceID id) const {
  const auto found = devices_.find(id);
  return found == devices_.end() ? nullptr : &found->second;
}

const PipeWireDevice* DeviceDirectory::deviceNamed(std::string_view uid) const {
  for (const auto& [id, device] : devices_)
    if (device.uid == uid) return &device;
  return nullptr;
}

const PipeWireDevice* DeviceDirectory::deviceOfNode(GlobalID node) const {
  for (const auto& [id, device] : devices_)
    if (device.sink == node || device.source == node) return &device;
  return nullptr;
}

std::vector<AudioDeviceID> DeviceDirectory::list() const {
  std::vector<AudioDeviceID> list;
  for (const auto& [id, device] : devices_)
    if (!device.isPrivate && device.anySide()) list.push_back(id);
  return list;
}

const PipeWireDevice* DeviceDirectory::best(AudioScope scope) const {
  const PipeWireDevice* best = nullptr;
  const auto priority = [&](const PipeWireDevice& device) {
    const std::string_view text = node(device.side(scope))->property("priority.session");
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
  };
  for (const auto& [id, device] : devices_)
    if (!device.isPrivate && node(device.side(scope)) && (!best || priority(device) > priority(*best)))
      best = &device;
  return best;
}

const GraphNode* DeviceDirectory::node(const std::optional<GlobalID>& id) const {
  return id ? graph_.node(*id) : nullptr;
}

std::vector<std::string> DeviceDirectory::channels(const PipeWireDevice& device, AudioScope scope) const {
  const GraphNode* side = node(device.side(scope));
  if (!side) return {};
  auto positions = splitPositions(side->property("audio.position"));
  if (!positions.empty()) return positions;
  // Hardware tells its positions by its ports alone.
  for (const auto& [id, port] : graph_.ports())
    if (port.node == side->id && !port.isMonitor && port.isOutput == (scope == AudioScope::input))
      positions.push_back(port.channel);
  if (positions.empty()) positions = {"FL", "FR"};
  return positions;
}

std::string DeviceDirectory::name(const PipeWireDevice& device) const {
  const GraphNode* side = node(device.anySide());
  if (!side) return device.uid;
  for (const char* key : {"node.description", "node.nick"})
    if (const auto text = side->property(key); !text.empty()) return std::string(text);
  return device.uid;
}

std::uint32_t DeviceDirectory::transportType(const PipeWireDevice& device) const {
  if (device.isAggregate) return TransportType::aggregate;
  const GraphNode* side = node(device.anySide());
  if (!side) return TransportType::virtualDevice;
  const std::string_view api = side->property("device.api"), bus = busOf(*side);
  if (api == "bluez5" || bus == "bluetooth") return TransportType::bluetooth;
  if (bus == "usb") return TransportType::usb;
  if (side->name().find("hdmi") != std::string_view::npos) return TransportType::hdmi;
  if (api == "alsa") return TransportType::builtIn;
  return TransportType::virtualDevice;
}

// Sessions tell it of the card, some of its nodes too.
std::string_view DeviceDirectory::busOf(const GraphNode& side) const {
  const std::string_view own = side.property("device.bus");
  const GraphCard* card = graph_.cardOf(side);
  return own.empty() && card ? card->property("device.bus") : own;
}

std::optional<std::uint32_t> DeviceDirectory::dataSource(const PipeWireDevice& device,
                                                         AudioScope scope) const {
  const bool isOutput = scope != AudioScope::input;
  const GraphNode* side = node(device.side(scope));
  const GraphRoute* route = side ? graph_.routeOf(*side, isOutput) : nullptr;
  if (!route) return std::nullopt;
  return dataSourceOf(*route, isOutput, transportType(device) == TransportType::builtIn);
}

void DeviceDirectory::routesChanged(const GraphCard& card) {
  if (!deviceChanged) return;
  for (const auto& [id, device] : devices_)
    for (const AudioScope scope : {AudioScope::output, AudioScope::input})
      if (const GraphNode* side = node(device.side(scope)); side && graph_.cardOf(*side) == &card)
        deviceChanged(id, AudioProperty::dataSource, scope);
}

bool DeviceDirectory::isRunning(const PipeWireDevice& device) const {
  for (const auto& side : {device.sink, device.source})
    if (const GraphNode* found = node(side); found && found->state == NodeState::running) return true;
  return false;
}

}  // namespace sonmere
