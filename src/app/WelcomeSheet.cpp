#include "app/WelcomeSheet.h"

namespace sonmere {

namespace {

constexpr const char* kUpgradeKey = "didAutoRegisterLoginItem";
constexpr const char* kSeenKey = "sonmere.welcome.v1_8_seen";
constexpr const char* kNoteKey = "sonmere.pending28Note";
constexpr const char* kPendingKey = "sonmere.welcome.v2_9_9_pending";

WelcomeSheet chooseFirst(SettingsStore& settings) {
  if (settings.boolValue(kNoteKey)) {
    settings.remove(kNoteKey);
    settings.set(kSeenKey, true);
    return WelcomeSheet::routingNote;
  }
  const bool isWelcome = settings.boolValue(kUpgradeKey) && !settings.boolValue(kSeenKey);
  if (isWelcome || !settings.boolValue(kUpgradeKey)) settings.set(kSeenKey, true);
  return isWelcome ? WelcomeSheet::welcome : WelcomeSheet::none;
}

}  // namespace

WelcomeSheet chooseWelcomeSheet(SettingsStore& settings) {
  const WelcomeSheet first = chooseFirst(settings);
  if (!settings.boolValue(kPendingKey)) return first;
  settings.remove(kPendingKey);
  return first == WelcomeSheet::none ? WelcomeSheet::whatIsNew : first;
}

}  // namespace sonmere
