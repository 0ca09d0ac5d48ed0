#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/engine/DeviceDirectory.h"

namespace sonmere {

// An output that the system's sound can go to.
struct OutputCandidate {
  AudioDeviceID id = kAudioObjectUnknown;
  std::string name;
  std::string uid;
  std::optional<std::uint32_t> transport;  // nothing where it can't be read

  bool operator==(const OutputCandidate&) const = default;
};

// In the server's order, without the program's own devices. Main thread.
std::vector<OutputCandidate> outputCandidates(DeviceDirectory& devices);

// Whether it is hardware of the kinds that users plug in to hear something.
bool isPluggedKind(const OutputCandidate& candidate);

// The one that is certainly there: built in first, then wired, wireless, any other, displays, virtual ones;
// the earliest of its kind. Null for none.
const OutputCandidate* preferredOutput(const std::vector<OutputCandidate>& candidates);
// The one that the user most likely listens on: wireless, then wired, then the headphones of two built-in
// ones. Null for none of these kinds.
const OutputCandidate* bestPhysicalOutput(const std::vector<OutputCandidate>& candidates);

}  // namespace sonmere
