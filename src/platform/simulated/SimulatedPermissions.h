#pragma once

#include <functional>

#include "audio/device/Permissions.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// Permissions as the user has set them. The server keeps to them: without leave to capture audio it makes no
// tap, and without the microphone what this program reads from a physical input is silence. One that was
// never asked for counts as not given. Main thread.
class SimulatedPermissions final : public Permissions {
 public:
  explicit SimulatedPermissions(std::shared_ptr<SimulatedWorld> world) : world_(std::move(world)) {}

  PermissionStatus status(Permission permission) override;
  void request(Permission permission, std::function<void(bool granted)> answer) override;

  // The host's side.
  void set(Permission permission, PermissionStatus status);
  // What the user answers when asked.
  void setAnswer(bool granted) { userGrants_ = granted; }
  int requestCount() const { return requests_; }

 private:
  std::shared_ptr<SimulatedWorld> world_;
  bool userGrants_ = true;
  int requests_ = 0;
};

}  // namespace sonmere
