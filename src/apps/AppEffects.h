#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/Observable.h"
#include "base/SettingForm.h"
#include "base/SettingsStore.h"
#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"
#include "dsp/TapEffects.h"

namespace sonmere {

// An app's equaliser or limiter under a drag: applied, but not stored.
struct AppEffectPreview {
  std::string bundleID;
  std::optional<AppEQSettings> equaliser;
  std::optional<AppLimiterSettings> limiter;
};

// Equaliser and limiter settings of apps, whoever renders them. Main thread.
class AppEffects {
 public:
  static constexpr const char* kEQPrefix = "sonmere.appEQSettings.";

  explicit AppEffects(SettingsStore& settings) : settings_(settings) {}
  virtual ~AppEffects() = default;

  // By bundle identifier.
  OwnedObservable<std::map<std::string, AppEQSettings>, AppEffects> eqSettings;
  OwnedObservable<std::map<std::string, AppLimiterSettings>, AppEffects> appLimiterSettings;
  // The latest live change, for whoever else renders the app.
  OwnedObservable<AppEffectPreview, AppEffects> preview;

  AppEQSettings equaliserOf(const std::string& bundleID) const;
  AppLimiterSettings limiterOf(const std::string& bundleID) const;
  void setAppEqualiser(const std::string& bundleID, const AppEQSettings& settings, SettingForm form);
  void setAppLimiter(const std::string& bundleID, const AppLimiterSettings& settings, SettingForm form);

 protected:
  // The effects of an app that is rendered here, which hear of a change first; null for any other.
  virtual TapEffects* effectsOf(const std::string& bundleID) = 0;

 private:
  SettingsStore& settings_;
};

}  // namespace sonmere
