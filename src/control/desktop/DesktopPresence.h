#pragma once

#include <memory>

#include "control/desktop/DesktopBus.h"
#include "control/desktop/DesktopNotifier.h"
#include "control/desktop/SessionBus.h"
#include "control/desktop/SleepInhibitor.h"

namespace sonmere {

// The program on the user's desktop: its objects on the session bus, notifications, and no sleep while it
// records. Without a bus there is none of it, and the log says so. Main thread; all that it is given outlives
// it.
class DesktopPresence {
 public:
  // Not `isWanted`: nothing is done.
  DesktopPresence(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, Control& control,
                  bool isWanted) {
    if (!isWanted) return;
    if (auto system = SessionBus::open(runtime, log, watcher, SessionBus::Which::system)) {
      systemBus_ = std::move(*system);
      inhibitor_ = std::make_unique<SleepInhibitor>(*systemBus_, log, control);
    }
    auto opened = SessionBus::open(runtime, log, watcher);
    if (!opened) {
      log.info("Sonmere: " + opened.error().description);
      return;
    }
    bus_ = std::move(*opened);
    objects_ = std::make_unique<DesktopBus>(*bus_, log, control);
    notifier_ = std::make_unique<DesktopNotifier>(*bus_, log, control);
  }

  void tell(const std::string& title, const std::string& text) const {
    if (notifier_) notifier_->tell(title, text);
  }

 private:
  std::unique_ptr<SessionBus> systemBus_;
  std::unique_ptr<SleepInhibitor> inhibitor_;
  std::unique_ptr<SessionBus> bus_;
  std::unique_ptr<DesktopBus> objects_;
  std::unique_ptr<DesktopNotifier> notifier_;
};

}  // namespace sonmere
