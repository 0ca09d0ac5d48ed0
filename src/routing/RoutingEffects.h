#pragma once

#include <array>
#include <string>

#include "apps/AppEffects.h"
#include "base/SettingForm.h"
#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// Equaliser and limiter settings of apps and bus masters, as stored and as the renders use them. A bus index
// outside 0 to 9 is ignored. Main thread.
class RoutingEffects final : public AppEffects {
 public:
  explicit RoutingEffects(RoutingCore& core);

  // By bus.
  OwnedObservable<std::array<AppEQSettings, kBusCount>, RoutingEffects> masterEQSettings;
  OwnedObservable<std::array<MasterLimiterSettings, kBusCount>, RoutingEffects> masterLimiterSettings;

  // The app whose equaliser panel is open, empty for none: spectra are fed only for an open panel, and only
  // while they are shown.
  const std::string& activeEQBundleID() const { return activeEQBundleID_; }
  void setActiveEqualiser(const std::string& bundleID);
  void setSpectrumVisible(bool visible);

  void setMasterEqualiser(int bus, const AppEQSettings& settings, SettingForm form);
  void setMasterLimiter(int bus, const MasterLimiterSettings& settings, SettingForm form);

  // Stored effects into a new tap.
  void load(SingleAppTap& tap);

 private:
  TapEffects* effectsOf(const std::string& bundleID) override { return core_.tapOf(bundleID).get(); }
  void applyMasterEqualiser(int bus, const AppEQSettings& settings);
  void applyMasterLimiter(int bus, const MasterLimiterSettings& settings);

  RoutingCore& core_;
  std::string activeEQBundleID_;
};

}  // namespace sonmere
