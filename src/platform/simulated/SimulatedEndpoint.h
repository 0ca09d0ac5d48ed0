#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "audio/device/AudioTypes.h"
#include "platform/simulated/EndpointPlan.h"

namespace sonmere {

// What devices and aggregates have in common as objects of the server. Guarded by the world's lock.
struct SimulatedEndpoint {
  virtual ~SimulatedEndpoint() = default;

  AudioDeviceID id = kAudioObjectUnknown;
  std::string uid;
  std::string name;
  std::uint32_t transport = 0;
  std::uint32_t outputChannels = 0;
  std::uint32_t inputChannels = 0;
  double sampleRate = 48000;
  std::uint32_t bufferFrames = 512;
  float outputVolume = 1;
  float inputVolume = 1;
  // A program (this one or another) has it running.
  bool isRunning = false;
  std::shared_ptr<EndpointState> state = std::make_shared<EndpointState>();

  std::uint32_t channels(AudioScope scope) const {
    return scope == AudioScope::input ? inputChannels : outputChannels;
  }
};

}  // namespace sonmere
