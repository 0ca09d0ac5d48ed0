#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/AppIdentity.h"

namespace sonmere {

// Objects of the server, by the numbers that it gives them. A number is used again once its object has gone;
// an object's serial is not, within one run of the server.
using GlobalID = std::uint32_t;

enum class NodeState { error, creating, suspended, idle, running };

// Anything that makes or takes sound: a device's side, a program's stream.
struct GraphNode {
  // Set on all nodes of this program; the session manager's script knows them by it.
  static constexpr const char* kPartProperty = "sonmere.part";

  GlobalID id = 0;
  GlobalID client = 0;  // 0: the server's own
  std::string serial;
  // Few at first; all once `isKnown`.
  AppProperties properties;
  NodeState state = NodeState::creating;
  std::vector<float> channelVolumes;  // linear; of devices, once known
  // What a stream itself makes or takes, whatever ports the session has given it; empty until known.
  std::vector<std::string> positions;
  bool isKnown = false;

  std::string_view property(std::string_view key) const;
  std::string_view mediaClass() const { return property("media.class"); }
  std::string_view name() const { return property("node.name"); }
  bool isDevice() const { return mediaClass().starts_with("Audio/"); }
  // Made by this program, or another instance of it, for itself.
  bool isOwn() const { return !property(kPartProperty).empty(); }
  bool isPlaybackStream() const { return mediaClass() == "Stream/Output/Audio"; }
};

// Where the sound of one side of a card comes out or goes in at present: a loudspeaker, a jack.
struct GraphRoute {
  std::string name;      // "analog-output-headphones"
  std::string portType;  // "headphones"; empty where nobody tells
  bool operator==(const GraphRoute&) const = default;
};

// A piece of hardware, whose devices are nodes that name it.
struct GraphCard {
  struct Side {
    bool isOutput = false;
    int device = 0;  // as the card counts its devices
    auto operator<=>(const Side&) const = default;
  };
  GlobalID id = 0;
  AppProperties properties;
  std::map<Side, GraphRoute> routes;

  std::string_view property(std::string_view key) const;
};

struct GraphClient {
  GlobalID id = 0;
  AppProperties properties;
  bool isKnown = false;
};

struct GraphPort {
  GlobalID id = 0;
  GlobalID node = 0;
  bool isOutput = false;
  bool isMonitor = false;
  std::string channel;  // "FL", "AUX3"
};

struct GraphLink {
  GlobalID id = 0;
  GlobalID outputNode = 0;
  GlobalID inputNode = 0;
  bool isActive = false;  // what goes in comes out
};

}  // namespace sonmere
