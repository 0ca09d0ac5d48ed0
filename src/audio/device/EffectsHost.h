#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/RealtimeScope.h"
#include "base/Status.h"

namespace sonmere {

// An effect that can be put into a chain.
struct AvailableEffect {
  std::string id;
  std::string name;
  std::string manufacturer;
  bool isAUv3 = false;

  struct ComponentDescription {
    std::uint32_t type = 0, subType = 0, manufacturer = 0;
    bool operator==(const ComponentDescription&) const = default;
  } componentDescription;
};

// An instantiated effect, prepared for stereo float32 planes at one rate and at most 4096 frames.
class Effect {
 public:
  virtual ~Effect() = default;
  // Reads two input planes, writes two output planes. Render thread. `sampleTime` counts frames.
  virtual OSStatus render(double sampleTime, std::uint32_t frames, const float* const input[2],
                          float* const output[2]) noexcept SONMERE_NONBLOCKING = 0;
  virtual double latency() const = 0;  // seconds
  // The effect's whole state as a property list; main thread.
  virtual std::string fullState() const = 0;
  virtual OSStatus setFullState(const std::string& state) = 0;
};

// Finds and instantiates outside effects. Main thread; instantiation answers on the main queue.
class EffectsHost {
 public:
  virtual ~EffectsHost() = default;
  // Sorted by manufacturer, then name.
  virtual std::vector<AvailableEffect> availableEffects() = 0;
  // `state`, when not empty, is set before the effect is prepared.
  virtual void instantiate(const AvailableEffect& effect, double sampleRate, const std::string& state,
                           std::function<void(Outcome<std::shared_ptr<Effect>>)> completion) = 0;
};

}  // namespace sonmere
