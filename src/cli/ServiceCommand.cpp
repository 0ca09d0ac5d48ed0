#include "cli/ServiceCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/PlatformLoginItem.h"
#include "app/PlatformService.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/LoginItemCommand.h"
#include "cli/Tell.h"

namespace sonmere {

namespace {

int showLog() {
  execlp("journalctl", "journalctl", "--user", "--unit", kServiceUnit, "--pager-end", nullptr);
  return tell("service", kExitFailure,
              fmt::format("the journal can't be read (journalctl): {}", std::strerror(errno)));
}

// Two ways to start with the session would start it twice.
void dropLoginItem() {
  const auto item = userLoginItem();
  if (!item->isEnabled()) return;
  const auto dropped = switchLoginItem(*item, false);
  tell("service", kExitSuccess,
       dropped ? "the login item is off now, since the service starts with your session"
               : "the login item could not be turned off: " + dropped.error().description);
}

}  // namespace

int runService(const std::string& action, bool json) {
  if (action == "log") return showLog();
  if (action != "status") {
    const bool isOn = action == "enable";
    if (const auto changed = setServiceEnabled(isOn); !changed)
      return tell("service", kExitFailure, changed.error().description);
    if (isOn) dropLoginItem();
  }
  const ServiceState state = serviceState();
  if (json)
    printJSON({{"enabled", state.isEnabled}, {"active", state.isActive}});
  else
    fmt::print("The service {} with your session, and {} now.\n",
               state.isEnabled ? "starts" : "does not start", state.isActive ? "runs" : "does not run");
  return kExitSuccess;
}

}  // namespace sonmere
