#include "platform/simulated/SimulatedPlatform.h"

#include "platform/simulated/SimulatedCaptureEngine.h"
#include "platform/simulated/SimulatedHardware.h"

namespace sonmere {

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
