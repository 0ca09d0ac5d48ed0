#pragma once

#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/simulated/ClockBridge.h"
#include "platform/simulated/Reblocker.h"
#include "platform/simulated/SimulatedEndpoint.h"

namespace sonmere {

// An aggregate device: of sub-devices, of taps, or of both. With sub-devices it runs inside the cycle of its
// master, or of its first member that is present while the master is not. Of taps only, it runs inside the
// cycle of the device where its processes play. Guarded by the world's lock.
struct SimulatedAggregate final : SimulatedEndpoint {
  AggregateDescription description;

  // Resolved from what is present.
  AudioDeviceID clock = kAudioObjectUnknown;  // the endpoint whose cycle runs this one
  std::vector<AudioDeviceID> members;         // present, in the order of the description

  // A rate or block size of its own; only for an aggregate without sub-devices.
  std::optional<double> wantedRate;
  std::optional<std::uint32_t> wantedFrames;

  bool hasMembers() const { return !description.subDevices.empty(); }
  bool hasTaps() const { return !description.tapUIDs.empty(); }
  bool corrects(const std::string& memberUID) const {
    for (const auto& member : description.subDevices)
      if (member.uid == memberUID) return member.drift;
    return false;
  }

  // Kept from plan to plan while their shape stays; touched by cycles.
  enum class Lane { tap, output, input };
  std::map<std::pair<Lane, AudioDeviceID>, std::shared_ptr<ClockBridge>> bridges;
  std::shared_ptr<Reblocker> reblocker;
};

}  // namespace sonmere
