#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "platform/pipewire/GraphMirror.h"

namespace sonmere {

// A device: the sink and the source that bear one name, either may be absent. The name is the UID.
struct PipeWireDevice {
  AudioDeviceID id = kAudioObjectUnknown;
  std::string uid;
  std::optional<GlobalID> sink;
  std::optional<GlobalID> source;
  // Made by this program for itself: in no device list.
  bool isPrivate = false;
  bool isAggregate = false;
  std::vector<std::string> members;  // of an aggregate

  std::optional<GlobalID> side(AudioScope scope) const { return scope == AudioScope::input ? source : sink; }
  std::optional<GlobalID> anySide() const { return sink ? sink : source; }
};

// The devices among the server's nodes. Guarded by the loop's lock.
class DeviceDirectory {
 public:
  DeviceDirectory(const GraphMirror& graph, std::function<AudioObjectID()> newID);

  // The list changed, or what a device consists of. Loop's thread, or the caller's of `expect` and `forget`.
  std::function<void()> listChanged;
  std::function<void(AudioDeviceID device, AudioProperty property, AudioScope scope)> deviceChanged;

  void nodeChanged(const GraphNode& node);
  void nodeRemoved(const GraphNode& node);
  void routesChanged(const GraphCard& card);
  // The server has gone, and with it all devices.
  void clear();

  // An aggregate of this name is being made by this program: it has its ID from now on.
  AudioDeviceID expect(const std::string& uid, bool isPrivate, std::vector<std::string> members);
  void forget(AudioDeviceID device);

  const PipeWireDevice* device(AudioDeviceID id) const;
  const PipeWireDevice* deviceNamed(std::string_view uid) const;
  const PipeWireDevice* deviceOfNode(GlobalID node) const;
  // In the order of their appearance, without private ones.
  std::vector<AudioDeviceID> list() const;
  // The device with that side that sessions would choose; null: there is none.
  const PipeWireDevice* best(AudioScope scope) const;

  // Names of a side's channels: "FL", "FR". Empty: no such side.
  std::vector<std::string> channels(const PipeWireDevice& device, AudioScope scope) const;
  std::string name(const PipeWireDevice& device) const;
  std::uint32_t transportType(const PipeWireDevice& device) const;
  bool isRunning(const PipeWireDevice& device) const;
  // Where the sound of a side comes out or goes in; nothing where the card does not tell.
  std::optional<std::uint32_t> dataSource(const PipeWireDevice& device, AudioScope scope) const;

 private:
  PipeWireDevice& entry(const std::string& uid);
  const GraphNode* node(const std::optional<GlobalID>& id) const;
  std::string_view busOf(const GraphNode& side) const;

  const GraphMirror& graph_;
  const std::function<AudioObjectID()> newID_;
  std::map<AudioDeviceID, PipeWireDevice> devices_;
  std::map<GlobalID, bool> wasRunning_;
  std::set<GlobalID> departing_;  // nodes of aggregates that this program has let go
};

}  // namespace sonmere
