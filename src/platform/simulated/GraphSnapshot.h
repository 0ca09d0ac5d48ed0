#pragma once

#include <array>
#include <map>

#include "audio/device/ListenerTable.h"
#include "platform/simulated/SimulatedGraph.h"

namespace sonmere {

// What listeners can observe of the graph at one moment. The difference of two tells whom to notify, so that
// no change is announced twice and none is forgotten.
class GraphSnapshot {
 public:
  explicit GraphSnapshot(const SimulatedGraph& graph);

  // Notifies of all that differs in `after`, and forgets the listeners of objects that have gone.
  void notifyChanges(const GraphSnapshot& after, ListenerTable& listeners) const;

 private:
  struct Endpoint {
    double sampleRate;
    std::uint32_t outputChannels, inputChannels, outputSource, inputSource;
    bool isRunning;
  };
  void notifyEndpoint(AudioDeviceID id, const Endpoint& after, ListenerTable& listeners) const;

  std::map<AudioDeviceID, Endpoint> endpoints_;
  std::map<AudioObjectID, bool> processes_;  // whether each plays
  std::array<AudioDeviceID, 3> defaults_;
};

}  // namespace sonmere
