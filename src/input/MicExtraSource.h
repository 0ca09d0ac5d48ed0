#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sonmere {

// A further input of the microphone's device that is mixed into the outgoing mic.
struct MicExtraSource {
  static constexpr float kMaxGain = 2.0f;

  std::string id;  // UUID
  std::string label;
  int channel = 0;    // of the device, from 0
  float gain = 1.0f;  // linear, 0 to kMaxGain
  bool isMuted = false;
  float pan = 0.0f;  // -1 left to +1 right

  bool operator==(const MicExtraSource&) const = default;
};

// As they are stored: a JSON list of objects whose keys are the field names. One entry that does not decode
// spoils the list.
std::string encodeExtraSources(const std::vector<MicExtraSource>& sources);
std::optional<std::vector<MicExtraSource>> decodeExtraSources(std::string_view json);

}  // namespace sonmere
