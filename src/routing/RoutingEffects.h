#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "base/SettingForm.h"
#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// An app's equaliser or limiter under a drag: applied, but not stored.
struct AppEffectPreview {
  std::string bundleID;
  std::optional<AppEQSettings> equaliser;
  std::optional<AppLimiterSettings> limiter;
};

// Equaliser and limiter settings of apps and bus masters, as stored and as the renders use them. A bus index
// outside 0 to 9 is ignored. Main thread.
class RoutingEffects {
 public:
  explicit RoutingEffects(RoutingCore& core);

  // By bundle identifier.
  Observable<std::map<std::string, AppEQSettings>> eqSettings;
  Observable<std::map<std::string, AppLimiterSettings>> appLimiterSettings;
  // The latest live change, for whoever else renders the app.
  Observable<AppEffectPreview> preview;
  // By bus.
  Observable<std::array<AppEQSettings, kBusCount>> masterEQSettings;
  Observable<std::array<MasterLimiterSettings, kBusCount>> masterLimiterSettings;

  // The app whose equaliser panel is open, empty for none: spectra are fed only for an open panel, and only
  // while they are shown.
  const std::string& activeEQBundleID() const { return activeEQBundleID_; }
  void setActiveEqualiser(const std::string& bundleID);
  void setSpectrumVisible(bool visible);

  AppEQSettings equaliserOf(const std::string& bundleID) const;
  AppLimiterSettings limiterOf(const std::string& bundleID) const;

  void setAppEqualiser(const std::string& bundleID, const AppEQSettings& settings, SettingForm form);
  void setMasterEqualiser(int bus, const AppEQSettings& settings, SettingForm form);
  void setAppLimiter(const std::string& bundleID, const AppLimiterSettings& settings, SettingForm form);
  void setMasterLimiter(int bus, const MasterLimiterSettings& settings, SettingForm form);

  // Stored effects into a new tap.
  void load(SingleAppTap& tap);

 private:
  void applyMasterEqualiser(int bus, const AppEQSettings& settings);
  void applyMasterLimiter(int bus, const MasterLimiterSettings& settings);

  RoutingCore& core_;
  std::string activeEQBundleID_;
};

}  // namespace sonmere
