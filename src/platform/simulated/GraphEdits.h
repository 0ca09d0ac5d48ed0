#pragma once

#include <optional>
#include <vector>

#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// Changes of the graph that the boundary and the host share, with the server's rules. Under the world's lock.
class GraphEdits {
 public:
  explicit GraphEdits(SimulatedWorld& world) : world_(world), graph_(world.graph()) {}

  OSStatus setNominalSampleRate(AudioDeviceID device, double rate);
  std::vector<AudioValueRange> availableRates(const SimulatedEndpoint& endpoint) const;
  OSStatus setBufferFrameSize(AudioDeviceID device, std::uint32_t frames);
  OSStatus setDefaultDevice(DefaultDevice role, AudioDeviceID device);
  Result<AudioObjectID> createProcessTap(const TapDescription& description);
  OSStatus destroyProcessTap(AudioObjectID tap);
  Result<AudioDeviceID> createAggregateDevice(const AggregateDescription& description);
  OSStatus destroyAggregateDevice(AudioDeviceID aggregate);

 private:
  // The available rate that is meant by `rate`, Hz; nothing when none is near.
  std::optional<double> nearestRate(const SimulatedEndpoint& endpoint, double rate) const;
  OSStatus checkAggregate(const AggregateDescription& description) const;
  void applyRate(const std::string& uid, double rate);

  SimulatedWorld& world_;
  SimulatedGraph& graph_;
};

}  // namespace sonmere
