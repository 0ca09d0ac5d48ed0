#pragma once

#include "audio/device/Permissions.h"
#include "base/Runtime.h"

namespace sonmere {

// Outside a sandbox the server lets every program of the user capture: there is nothing to ask for. Main
// thread.
class DesktopPermissions final : public Permissions {
 public:
  explicit DesktopPermissions(Runtime& runtime) : runtime_(runtime) {}
  PermissionStatus status(Permission) override { return PermissionStatus::authorized; }
  void request(Permission, std::function<void(bool granted)> answer) override {
    runtime_.mainQueue().post([answer = std::move(answer)] { answer(true); });
  }

 private:
  Runtime& runtime_;
};

}  // namespace sonmere
