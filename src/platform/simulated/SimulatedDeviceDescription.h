#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "base/Time.h"
#include "platform/simulated/SampleSource.h"

namespace sonmere {

// A piece of hardware, or a virtual device, as it is plugged in.
struct SimulatedDeviceDescription {
  std::string uid;
  std::string name;
  std::uint32_t transport = TransportType::usb;
  std::uint32_t outputChannels = 2;
  std::uint32_t inputChannels = 0;
  double nominalRate = 48000;                                  // Hz
  std::vector<double> availableRates = {44100, 48000, 96000};  // Hz
  std::uint32_t bufferFrames = 512;
  double clockErrorPpm = 0;  // positive: fast
  // Time that a change of the nominal rate takes.
  Duration rateChangeDelay = Duration::zero();
  std::optional<std::uint32_t> outputDataSource;
  std::optional<std::uint32_t> inputDataSource;
  // Names of channels from 1 on; an empty name counts as none.
  std::vector<std::string> outputChannelNames;
  std::vector<std::string> inputChannelNames;
  // What a microphone hears; silence without. Odd channels take left, even ones right.
  SampleSourceFactory inputSignal;
  // What is played comes back on the input side, bit for bit.
  bool loopsBack = false;
};

}  // namespace sonmere
