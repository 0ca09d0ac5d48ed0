#include "apps/AppEffects.h"

#include "apps/StoredEffect.h"

namespace sonmere {

namespace {
constexpr const char* kAppLimiterPrefix = "sonmere.appLimiterSettings.";
}  // namespace

AppEQSettings AppEffects::equaliserOf(const std::string& bundleID) const {
  const auto found = eqSettings->find(bundleID);
  return found != eqSettings->end() ? found->second
                                    : storedEffect<AppEQSettings>(settings_, kEQPrefix + bundleID);
}

AppLimiterSettings AppEffects::limiterOf(const std::string& bundleID) const {
  const auto found = appLimiterSettings->find(bundleID);
  return found != appLimiterSettings->end()
             ? found->second
             : storedEffect<AppLimiterSettings>(settings_, kAppLimiterPrefix + bundleID);
}

void AppEffects::setAppEqualiser(const std::string& bundleID, const AppEQSettings& settings,
                                 SettingForm form) {
  if (form == SettingForm::final) storeEffect(settings_, kEQPrefix + bundleID, settings);
  if (TapEffects* const running = effectsOf(bundleID)) running->apply(settings);
  if (form == SettingForm::live) return preview.set({bundleID, settings, std::nullopt});
  eqSettings.update([&](auto& all) { all[bundleID] = settings; });
}

void AppEffects::setAppLimiter(const std::string& bundleID, const AppLimiterSettings& settings,
                               SettingForm form) {
  if (form == SettingForm::final) storeEffect(settings_, kAppLimiterPrefix + bundleID, settings);
  if (TapEffects* const running = effectsOf(bundleID)) {
    running->apply(settings);
    if (form == SettingForm::final) running->limiterGain = 1.0f;
  }
  if (form == SettingForm::live) return preview.set({bundleID, std::nullopt, settings});
  appLimiterSettings.update([&](auto& all) { all[bundleID] = settings; });
}

}  // namespace sonmere
