#pragma once

#include <expected>
#include <memory>
#include <string>

#include "audio/engine/OutputRunner.h"
#include "routing/AppOutputRender.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// Plays one routed app on one device, apart from the buses: the unit that reads the app's ring. The device is
// that of the tap when this is made. Main thread.
class AppOutputRenderer {
 public:
  AppOutputRenderer(RoutingCore& core, std::shared_ptr<SingleAppTap> tap);

  // A pair of channels that the device does not have becomes its first two; a device that refuses to be
  // given all of its channels gets the pair by a map.
  std::expected<void, OutputFailure> start() { return runner_.start(); }

  const SingleAppTap& tap() const { return *tap_; }
  const std::string& deviceName() const { return deviceName_; }
  // Of what it plays, in Hz.
  double sampleRate() const { return runner_.sampleRate(); }
  // For the log.
  std::string stats() const;

 private:
  OutputRunner::Plan plan();
  OSStatus setFormat(OutputUnit& unit, AppOutputContext& context);
  OSStatus setMappedFormat(OutputUnit& unit, AppOutputContext& context, int deviceChannels);

  RoutingCore& core_;
  const std::shared_ptr<SingleAppTap> tap_;
  const AudioDeviceID device_;
  const std::string deviceName_;
  OutputRunner runner_;
};

}  // namespace sonmere
