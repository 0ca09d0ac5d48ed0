#include "routing/RoutingEffects.h"

#include "dsp/EffectSettingsCodec.h"
#include "dsp/Limiter.h"
#include "routing/FamilyRules.h"

namespace sonmere {

namespace {

constexpr const char* kEQPrefix = "sonmere.appEQSettings.";
constexpr const char* kAppLimiterPrefix = "sonmere.appLimiterSettings.";
constexpr const char* kMasterLimiterPrefix = "sonmere.masterLimiterSettings.";
constexpr const char* kSpectrumVisibleKey = "sonmere.eqSpectrumVisible";

std::string masterEQKey(int bus) {
  return kEQPrefix + std::string(FamilyRules::kMasterKey) + std::to_string(bus);
}

template <class T>
T stored(const SettingsStore& settings, const std::string& key) {
  if (const auto json = settings.data(key))
    if (const auto record = decodeJSON<T>(*json)) return *record;
  return {};
}

// A record that could not be read back (a number that is none) is not written.
template <class T>
void store(SettingsStore& settings, const std::string& key, const T& record) {
  if (std::string json = encodeJSON(record); decodeJSON<T>(json))
    settings.set(key, SettingsData{std::move(json)});
}

}  // namespace

RoutingEffects::RoutingEffects(RoutingCore& core) : core_(core) {
  const SettingsStore& settings = core.context.settings;
  core.context.flags.spectrumVisible = settings.boolValue(kSpectrumVisibleKey);
  for (int bus = 0; bus < kBusCount; ++bus) {
    const auto at = std::size_t(bus);
    masterEQSettings.silently()[at] = stored<AppEQSettings>(settings, masterEQKey(bus));
    masterLimiterSettings.silently()[at] =
        stored<MasterLimiterSettings>(settings, kMasterLimiterPrefix + std::to_string(bus));
    applyMasterEqualiser(bus, masterEQSettings.get()[at]);
    applyMasterLimiter(bus, masterLimiterSettings.get()[at]);
  }
}

void RoutingEffects::setActiveEqualiser(const std::string& bundleID) {
  activeEQBundleID_ = bundleID;
  core_.context.flags.equaliserAvailable = !bundleID.empty();
}

void RoutingEffects::setSpectrumVisible(bool visible) {
  core_.context.settings.set(kSpectrumVisibleKey, visible);
  core_.context.flags.spectrumVisible = visible;
}

AppEQSettings RoutingEffects::equaliserOf(const std::string& bundleID) const {
  const auto found = eqSettings->find(bundleID);
  return found != eqSettings->end() ? found->second
                                    : stored<AppEQSettings>(core_.context.settings, kEQPrefix + bundleID);
}

AppLimiterSettings RoutingEffects::limiterOf(const std::string& bundleID) const {
  const auto found = appLimiterSettings->find(bundleID);
  return found != appLimiterSettings->end()
             ? found->second
             : stored<AppLimiterSettings>(core_.context.settings, kAppLimiterPrefix + bundleID);
}

void RoutingEffects::load(SingleAppTap& tap) {
  tap.apply(equaliserOf(tap.bundleID));
  tap.apply(limiterOf(tap.bundleID));
}

void RoutingEffects::setAppEqualiser(const std::string& bundleID, const AppEQSettings& settings,
                                     SettingForm form) {
  if (form == SettingForm::final) store(core_.context.settings, kEQPrefix + bundleID, settings);
  if (const auto tap = core_.tapOf(bundleID)) tap->apply(settings);
  if (form == SettingForm::live) return preview.set({bundleID, settings, std::nullopt});
  eqSettings.update([&](auto& all) { all[bundleID] = settings; });
}

void RoutingEffects::setAppLimiter(const std::string& bundleID, const AppLimiterSettings& settings,
                                   SettingForm form) {
  if (form == SettingForm::final) store(core_.context.settings, kAppLimiterPrefix + bundleID, settings);
  if (const auto tap = core_.tapOf(bundleID)) {
    tap->apply(settings);
    if (form == SettingForm::final) tap->limiterGain = 1.0f;
  }
  if (form == SettingForm::live) return preview.set({bundleID, std::nullopt, settings});
  appLimiterSettings.update([&](auto& all) { all[bundleID] = settings; });
}

void RoutingEffects::applyMasterEqualiser(int bus, const AppEQSettings& settings) {
  BusMaster& master = core_.render->masters[std::size_t(bus)];
  master.eqCoefficients.publish(std::make_shared<const EQCoefficients>(coefficients48k(settings)),
                                core_.retirement, kSnapshotGrace);
  master.eqEnabled = settings.isEnabled;
}

void RoutingEffects::setMasterEqualiser(int bus, const AppEQSettings& settings, SettingForm form) {
  if (!isBus(bus)) return;
  if (form == SettingForm::final) store(core_.context.settings, masterEQKey(bus), settings);
  applyMasterEqualiser(bus, settings);
  if (form == SettingForm::final)
    masterEQSettings.update([&](auto& all) { all[std::size_t(bus)] = settings; });
}

void RoutingEffects::applyMasterLimiter(int bus, const MasterLimiterSettings& settings) {
  BusMaster& master = core_.render->masters[std::size_t(bus)];
  master.limiterEnabled = settings.isEnabled;
  master.limiterCeiling = limiterCeiling(settings.ceilingDb);
}

void RoutingEffects::setMasterLimiter(int bus, const MasterLimiterSettings& settings, SettingForm form) {
  if (!isBus(bus)) return;
  if (form == SettingForm::final)
    store(core_.context.settings, kMasterLimiterPrefix + std::to_string(bus), settings);
  applyMasterLimiter(bus, settings);
  if (form == SettingForm::live) return;
  core_.render->masters[std::size_t(bus)].limiterGain = 1.0f;
  masterLimiterSettings.update([&](auto& all) { all[std::size_t(bus)] = settings; });
}

}  // namespace sonmere
