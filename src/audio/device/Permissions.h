#pragma once

#include <functional>

namespace sonmere {

enum class Permission { microphone, audioCapture };
enum class PermissionStatus { notDetermined, restricted, denied, authorized };

// What the user lets the program capture. Main thread; the answer of a request comes on the main queue.
class Permissions {
 public:
  virtual ~Permissions() = default;
  virtual PermissionStatus status(Permission permission) = 0;
  virtual void request(Permission permission, std::function<void(bool granted)> answer) = 0;
};

}  // namespace sonmere
