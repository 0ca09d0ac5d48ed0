#pragma once

#include <memory>

#include "audio/device/Platform.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/simulated/SimulatedEffectsHost.h"
#include "platform/simulated/SimulatedHost.h"
#include "platform/simulated/SimulatedOptions.h"

namespace sonmere {

// A whole machine inside the process: an audio server with devices, programs, taps and aggregates. Starts
// with no device plugged in. The runtime and the log must outlive it, and it all that it has made. Made and
// destroyed on the main thread.
class SimulatedPlatform final : public Platform {
 public:
  SimulatedPlatform(Runtime& runtime, Log& log, SimulatedOptions options = {});
  ~SimulatedPlatform() override;

  AudioHardware& hardware() override;
  RunningApplications& applications() override;
  Permissions& permissions() override;
  const PlatformWords& words() const override;
  LoginItem& loginItem() override;
  PrivilegedCommand& privilegedCommand() override;
  PowerEvents& powerEvents() override;
  std::unique_ptr<CaptureEngine> newCaptureEngine() override;
  EffectsHost* effectsHost() override;

  // The world's side of it.
  SimulatedHost& host();
  SimulatedEffectsHost& effects();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace sonmere
