#pragma once

#include <memory>
#include <string>

#include "audio/device/Platform.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/pipewire/PipeWireOptions.h"

namespace sonmere {

// The user's programs and devices on a PipeWire server. Made at once, also while no server answers: it
// connects when one does, and again after each time that it has gone. Made and destroyed on the main thread.
class PipeWirePlatform final : public Platform {
 public:
  PipeWirePlatform(Runtime& runtime, Log& log, PipeWireOptions options = {});
  ~PipeWirePlatform() override;

  // Whether a server answers; `reason` says why not.
  static bool answers(const PipeWireOptions& options, std::string& reason);
  // Waits until the server has a session with a default device. False: it has not, by then.
  bool waitUntilReady(Duration timeout);

  AudioHardware& hardware() override;
  RunningApplications& applications() override;
  Permissions& permissions() override;
  const PlatformWords& words() const override;
  LoginItem& loginItem() override;
  PrivilegedCommand& privilegedCommand() override;
  PowerEvents& powerEvents() override;
  std::unique_ptr<CaptureEngine> newCaptureEngine() override;
  EffectsHost* effectsHost() override;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace sonmere
