#include "routing/RoutingEffects.h"

#include "apps/FamilyRules.h"
#include "apps/StoredEffect.h"
#include "base/ThreadRules.h"
#include "dsp/Limiter.h"

namespace sonmere {

namespace {

constexpr const char* kMasterLimiterPrefix = "sonmere.masterLimiterSettings.";
constexpr const char* kSpectrumVisibleKey = "sonmere.eqSpectrumVisible";

std::string masterEQKey(int bus) {
  return AppEffects::kEQPrefix + std::string(FamilyRules::kMasterKey) + std::to_string(bus);
}

}  // namespace

RoutingEffects::RoutingEffects(RoutingCore& core) : AppEffects(core.context.settings), core_(core) {
  const SettingsStore& settings = core.context.settings;
  core.context.flags.spectrumVisible = settings.boolValue(kSpectrumVisibleKey);
  for (int bus = 0; bus < kBusCount; ++bus) {
    const auto at = std::size_t(bus);
    masterEQSettings.silently()[at] = storedEffect<AppEQSettings>(settings, masterEQKey(bus));
    masterLimiterSettings.silently()[at] =
        storedEffect<MasterLimiterSettings>(settings, kMasterLimiterPrefix + std::to_string(bus));
    applyMasterEqualiser(bus, masterEQSettings.get()[at]);
    applyMasterLimiter(bus, masterLimiterSettings.get()[at]);
  }
}

void RoutingEffects::setActiveEqualiser(const std::string& bundleID) {
  assertMain();
  activeEQBundleID_ = bundleID;
  core_.context.flags.equaliserAvailable = !bundleID.empty();
}

void RoutingEffects::setSpectrumVisible(bool visible) {
  assertMain();
  core_.context.settings.set(kSpectrumVisibleKey, visible);
  core_.context.flags.spectrumVisible = visible;
}

void RoutingEffects::load(SingleAppTap& tap) {
  assertMain();
  tap.apply(equaliserOf(tap.bundleID));
  tap.apply(limiterOf(tap.bundleID));
}

void RoutingEffects::applyMasterEqualiser(int bus, const AppEQSettings& settings) {
  BusMaster& master = core_.render->masters[std::size_t(bus)];
  master.eqCoefficients.publish(std::make_shared<const EQCoefficients>(coefficients48k(settings)),
                                core_.retirement, kSnapshotGrace);
  master.eqEnabled = settings.isEnabled;
}

void RoutingEffects::setMasterEqualiser(int bus, const AppEQSettings& settings, SettingForm form) {
  assertMain();
  if (!isBus(bus)) return;
  if (form == SettingForm::final) storeEffect(core_.context.settings, masterEQKey(bus), settings);
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
  assertMain();
  if (!isBus(bus)) return;
  if (form == SettingForm::final)
    storeEffect(core_.context.settings, kMasterLimiterPrefix + std::to_string(bus), settings);
  applyMasterLimiter(bus, settings);
  if (form == SettingForm::live) return;
  core_.render->masters[std::size_t(bus)].limiterGain = 1.0f;
  masterLimiterSettings.update([&](auto& all) { all[std::size_t(bus)] = settings; });
}

}  // namespace sonmere
