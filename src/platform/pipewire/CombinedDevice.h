#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "platform/pipewire/PipeWireServer.h"

namespace sonmere {

// Several devices as one: all members play the same channels (stacked), or their channels stand side by side.
// The server keeps the members in step, whatever their clocks. It lives in this program and goes with it.
class CombinedDevice final : public ServerDependent {
 public:
  enum class Side { output, input };
  CombinedDevice(PipeWireServer& server, AggregateDescription description);
  ~CombinedDevice() override;

  // Waits until the device is there. Members need not be present; at least one must be. Lock held once.
  Result<AudioDeviceID> open();
  void serverLost() override;

 private:
  struct Module;
  bool hasSide(Side side) const;
  std::string arguments(Side side) const;

  PipeWireServer& server_;
  const AggregateDescription description_;
  std::vector<std::unique_ptr<Module>> modules_;  // one for each side
  AudioDeviceID device_ = kAudioObjectUnknown;
};

}  // namespace sonmere
