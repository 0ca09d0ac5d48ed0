#include "cli/LoginItemCommand.h"

#include <fmt/format.h>

#include "app/FileSettingsStore.h"
#include "app/PlatformLoginItem.h"
#include "base/VirtualRuntime.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/Tell.h"

namespace sonmere {

namespace {

// What was asked for holds: the program does not set up by itself what its user has turned off.
Outcome<void> remember(bool isOn) {
  VirtualRuntime runtime(1);
  Log log;
  FileSettingsStore settings(runtime, log, defaultSettingsPath());
  if (const auto& error = settings.loadError()) return std::unexpected(*error);
  settings.set("launchAtLogin", isOn);
  settings.set("didAutoRegisterLoginItem", true);
  return settings.synchronize();
}

}  // namespace

Outcome<void> switchLoginItem(LoginItem& item, bool isOn) {
  auto changed = isOn ? item.registerItem() : item.unregisterItem();
  return changed ? remember(isOn) : changed;
}

int runLoginItem(const std::string& action, bool json) {
  const auto item = userLoginItem();
  if (action != "status")
    if (const auto changed = switchLoginItem(*item, action == "on"); !changed)
      return tell("login-item", kExitFailure, changed.error().description);
  const bool isOn = item->isEnabled();
  if (json)
    printJSON({{"enabled", isOn}});
  else
    fmt::print("Sonmere {} with your session.\n", isOn ? "starts" : "does not start");
  return kExitSuccess;
}

}  // namespace sonmere
