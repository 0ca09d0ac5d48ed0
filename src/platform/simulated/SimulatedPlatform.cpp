#include "platform/simulated/SimulatedPlatform.h"

#include "platform/simulated/SimulatedCaptureEngine.h"
#include "platform/simulated/SimulatedHardware.h"

namespace sonmere {

namespace {

constexpr PlatformWords kWords{
    .tapsNeed = "macOS 14.2 or later",
    .captureDenied =
        "Screen Recording access denied. Open System Settings → Privacy & Security → Screen Recording and "
        "enable Sonmere. (Used to capture per-app audio — no video is recorded.)",
    .captureRestricted = "Screen Recording access is restricted by a system policy.",
    .microphoneDenied =
        "Microphone access denied. Open System Settings → Privacy & Security → Microphone and enable "
        "Sonmere.",
    .microphoneRestricted = "Microphone access is restricted by a system policy (parental controls or MDM).",
    .whyRateIsForced = "to bypass macOS 26.4.x SR converter regression",
    .whyLoginItem = "required on macOS 15+ for mic capture to work",
};

}  // namespace

struct SimulatedPlatform::Parts {
  Parts(Runtime& runtime, Log& log, const SimulatedOptions& options)
      : world(std::make_shared<SimulatedWorld>(runtime, log, options)),
        hardware(world),
        applications(world),
        permissions(world),
        privileges(runtime),
        power(runtime, options.reportsPowerEvents),
        effects(runtime, world->faults()),
        host(world, applications, permissions, loginItem, privileges, power) {}

  std::shared_ptr<SimulatedWorld> world;
  SimulatedHardware hardware;
  SimulatedApplications applications;
  SimulatedPermissions permissions;
  SimulatedLoginItem loginItem;
  SimulatedPrivileges privileges;
  SimulatedPower power;
  SimulatedEffectsHost effects;
  SimulatedHost host;
};

SimulatedPlatform::SimulatedPlatform(Runtime& runtime, Log& log, SimulatedOptions options)
    : parts_(std::make_unique<Parts>(runtime, log, options)) {}

SimulatedPlatform::~SimulatedPlatform() = default;

AudioHardware& SimulatedPlatform::hardware() { return parts_->hardware; }
RunningApplications& SimulatedPlatform::applications() { return parts_->applications; }
Permissions& SimulatedPlatform::permissions() { return parts_->permissions; }
const PlatformWords& SimulatedPlatform::words() const { return kWords; }
LoginItem& SimulatedPlatform::loginItem() { return parts_->loginItem; }
PrivilegedCommand& SimulatedPlatform::privilegedCommand() { return parts_->privileges; }
PowerEvents& SimulatedPlatform::powerEvents() { return parts_->power; }
SimulatedHost& SimulatedPlatform::host() { return parts_->host; }
EffectsHost* SimulatedPlatform::effectsHost() { return &parts_->effects; }
SimulatedEffectsHost& SimulatedPlatform::effects() { return parts_->effects; }

std::unique_ptr<CaptureEngine> SimulatedPlatform::newCaptureEngine() {
  return std::make_unique<SimulatedCaptureEngine>(parts_->world);
}

}  // namespace sonmere
