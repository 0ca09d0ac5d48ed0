#include "app/ServiceNotices.h"

#include <systemd/sd-daemon.h>

#include <cstdlib>

namespace sonmere {

ServiceNotices::ServiceNotices(Runtime& runtime) {
  std::uint64_t limit = 0;  // µs
  if (sd_watchdog_enabled(0, &limit) > 0)
    watchdog_ =
        runtime.mainQueue().repeat(std::chrono::microseconds(limit / 2), [] { sd_notify(0, "WATCHDOG=1"); });
}

bool ServiceNotices::isService() {
  const char* const socket = std::getenv("NOTIFY_SOCKET");
  return socket && *socket;
}

void ServiceNotices::ready() { sd_notify(0, "READY=1"); }

void ServiceNotices::stopping() { sd_notify(0, "STOPPING=1"); }

}  // namespace sonmere
