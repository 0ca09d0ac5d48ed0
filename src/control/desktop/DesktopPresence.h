#pragma once

#include <memory>

#include "control/desktop/DesktopBus.h"
#include "control/desktop/DesktopNotifier.h"
#include "control/desktop/SessionBus.h"

namespace sonmere {

// The program on the user's desktop: its objects on the session bus, and notifications. Without a session bus
// there is neither, and the log says so. Main thread; all that it is given outlives it.
class DesktopPresence {
 public:
  // Not `isWanted`: nothing is done.
  DesktopPresence(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, Control& control,
                  bool isWanted) {
    if (!isWanted) return;
    auto opened = SessionBus::open(runtime, log, watcher);
    if (!opened) {
      log.info("Sonmere: " + opened.error().description);
      return;
    }
    bus_ = std::move(*opened);
    objects_ = std::make_unique<DesktopBus>(*bus_, log, control);
    notifier_ = std::make_unique<DesktopNotifier>(*bus_, log, control);
  }

 private:
  std::unique_ptr<SessionBus> bus_;
  std::unique_ptr<DesktopBus> objects_;
  std::unique_ptr<DesktopNotifier> notifier_;
};

}  // namespace sonmere
