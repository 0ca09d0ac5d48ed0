#include "platform/simulated/SimulatedPermissions.h"

namespace sonmere {

void SimulatedPermissions::request(Permission permission, std::function<void(bool granted)> answer) {
  ++requests_;
  PermissionStatus& status = slot(permission);
  if (status == PermissionStatus::notDetermined)
    status = userGrants_ ? PermissionStatus::authorized : PermissionStatus::denied;
  const bool granted = status == PermissionStatus::authorized;
  runtime_.mainQueue().post([answer = std::move(answer), granted] { answer(granted); });
}

}  // namespace sonmere
