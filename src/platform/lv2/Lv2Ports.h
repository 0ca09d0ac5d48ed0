#pragma once

#include <lilv/lilv.h>

#include <cstdint>
#include <string>
#include <vector>

namespace sonmere {

class Lv2World;

// The ports of a plug-in, by what a host connects to them.
struct Lv2Ports {
  struct Control {
    std::uint32_t index;
    std::string symbol;
    float minimum, maximum, initial;
  };
  struct Event {
    std::uint32_t index;
    std::size_t bytes;
    bool isInput;
  };
  std::vector<std::uint32_t> audioInputs, audioOutputs;
  std::vector<std::uint32_t> voltageInputs, voltageOutputs;
  std::vector<Control> controls;
  std::vector<std::uint32_t> meters;  // control outputs
  std::vector<Event> events;
  std::vector<std::uint32_t> others;  // of a kind that is not known; may stay without connection
  bool hasForeign = false;            // one that may not

  static Lv2Ports of(const Lv2World& world, const LilvPlugin* plugin, double sampleRate);
};

}  // namespace sonmere
