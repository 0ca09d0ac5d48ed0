#include "platform/simulated/SimulatedPermissions.h"

namespace sonmere {

PermissionStatus SimulatedPermissions::status(Permission permission) {
  return world_->locked([&] { return world_->graph().permission(permission); });
}

void SimulatedPermissions::set(Permission permission, PermissionStatus status) {
  world_->locked([&] { world_->change([&] { world_->graph().permission(permission) = status; }); });
}

void SimulatedPermissions::request(Permission permission, std::function<void(bool granted)> answer) {
  ++requests_;
  if (status(permission) == PermissionStatus::notDetermined)
    set(permission, userGrants_ ? PermissionStatus::authorized : PermissionStatus::denied);
  const bool granted = status(permission) == PermissionStatus::authorized;
  world_->runtime().mainQueue().post([answer = std::move(answer), granted] { answer(granted); });
}

}  // namespace sonmere
