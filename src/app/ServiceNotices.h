#pragma once

#include "base/Runtime.h"
#include "base/TaskToken.h"

namespace sonmere {

// What the service manager that started this program is told, by sd_notify(3); nothing where it was started
// otherwise. Programs that this one starts are not taken for it. Main thread.
class ServiceNotices {
 public:
  // From here on the watchdog, where the unit has one, is told twice in its time that the main queue goes on.
  explicit ServiceNotices(Runtime& runtime);

  // Whether a service manager has started this program, and sees to its next start.
  static bool isService();

  // Commands are answered from now on.
  void ready();
  void stopping();

 private:
  ScopedTask watchdog_;
};

}  // namespace sonmere
