#pragma once

#include <memory>

#include "audio/device/AudioHardware.h"
#include "audio/device/CaptureEngine.h"
#include "audio/device/LoginItem.h"
#include "audio/device/Permissions.h"
#include "audio/device/PlatformWords.h"
#include "audio/device/PowerEvents.h"
#include "audio/device/PrivilegedCommand.h"
#include "audio/device/RunningApplications.h"

namespace sonmere {

class EffectsHost;

// The whole boundary: one object per platform, chosen once at start. The parts live as long as it does.
class Platform {
 public:
  virtual ~Platform() = default;
  virtual AudioHardware& hardware() = 0;
  virtual RunningApplications& applications() = 0;
  virtual Permissions& permissions() = 0;
  virtual const PlatformWords& words() const = 0;
  virtual LoginItem& loginItem() = 0;
  virtual PrivilegedCommand& privilegedCommand() = 0;
  virtual PowerEvents& powerEvents() = 0;
  virtual std::unique_ptr<CaptureEngine> newCaptureEngine() = 0;
  // Null where the platform hosts no effects.
  virtual EffectsHost* effectsHost() = 0;
};

}  // namespace sonmere
