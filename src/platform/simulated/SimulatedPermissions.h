#pragma once

#include <functional>

#include "audio/device/Permissions.h"
#include "base/Runtime.h"
#include "platform/simulated/SimulatedOptions.h"

namespace sonmere {

// Permissions as the user has set them. Main thread.
class SimulatedPermissions final : public Permissions {
 public:
  SimulatedPermissions(Runtime& runtime, const SimulatedOptions& options)
      : runtime_(runtime), microphone_(options.microphone), audioCapture_(options.audioCapture) {}

  PermissionStatus status(Permission permission) override { return slot(permission); }
  void request(Permission permission, std::function<void(bool granted)> answer) override;

  // The host's side.
  void set(Permission permission, PermissionStatus status) { slot(permission) = status; }
  // What the user answers when asked.
  void setAnswer(bool granted) { userGrants_ = granted; }
  int requestCount() const { return requests_; }

 private:
  PermissionStatus& slot(Permission permission) {
    return permission == Permission::microphone ? microphone_ : audioCapture_;
  }

  Runtime& runtime_;
  PermissionStatus microphone_;
  PermissionStatus audioCapture_;
  bool userGrants_ = true;
  int requests_ = 0;
};

}  // namespace sonmere
