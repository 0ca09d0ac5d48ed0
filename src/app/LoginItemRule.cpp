#include "app/LoginItemRule.h"

#include <fmt/format.h>

namespace sonmere {

namespace {
constexpr const char* kLaunchAtLoginKey = "launchAtLogin";
constexpr const char* kAttemptedKey = "didAutoRegisterLoginItem";
}  // namespace

void applyLoginItemRule(LoginItem& loginItem, std::string_view why, SettingsStore& settings, Log& log) {
  const bool isEnabled = loginItem.isEnabled();
  settings.set(kLaunchAtLoginKey, isEnabled);
  if (settings.boolValue(kAttemptedKey) || isEnabled) return;
  if (const auto registered = loginItem.registerItem()) {
    settings.set(kLaunchAtLoginKey, true);
    log.info(fmt::format("Sonmere: Auto-registered as login item — {}", why));
  } else {
    log.error("Sonmere: Auto-register failed: " + registered.error().description);
  }
  settings.set(kAttemptedKey, true);
}

}  // namespace sonmere
