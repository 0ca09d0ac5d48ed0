#include "mixer/VolumeMixerStore.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "dsp/Boost.h"
#include "dsp/EffectSettingsCodec.h"

namespace sonmere {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(VolumeMixerAppState, volume, isMuted)

namespace {

constexpr const char* kEnabledKey = "sonmere.volumeMixer.isEnabled";
constexpr const char* kAppsStateKey = "sonmere.volumeMixer.appsState";
constexpr const char* kMasterVolumeKey = "sonmere.volumeMixer.masterVolume";
constexpr const char* kDirectAppsKey = "sonmere.volumeMixer.directApps";
constexpr const char* kDAWHintSeenKey = "sonmere.volumeMixer.dawHintSeen";
constexpr const char* kOutputEQKey = "sonmere.outputEQ";
constexpr const char* kBoostAllowedKey = "sonmere.boostAllowed";

using AppStates = std::map<std::string, VolumeMixerAppState>;

}  // namespace

bool VolumeMixerStore::isEnabled() const { return settings_.boolValue(kEnabledKey); }

void VolumeMixerStore::setEnabled(bool enabled) { settings_.set(kEnabledKey, enabled); }

bool VolumeMixerStore::boostAllowed() const {
  return settings_.optionalBool(kBoostAllowedKey).value_or(true);
}

AppStates VolumeMixerStore::appsState() const {
  const auto stored = settings_.data(kAppsStateKey);
  if (!stored) return {};
  try {
    auto states = nlohmann::json::parse(*stored).get<AppStates>();
    for (auto& [bundleID, state] : states) state.volume = clampAppVolume(state.volume, boostAllowed());
    return states;
  } catch (const nlohmann::json::exception& error) {
    log_.error(fmt::format("Failed to decode persisted state: {}", error.what()));
    return {};
  }
}

void VolumeMixerStore::setAppsState(const AppStates& states) {
  try {
    settings_.set(kAppsStateKey, SettingsData{nlohmann::json(states).dump()});
  } catch (const nlohmann::json::exception& error) {
    log_.error(fmt::format("Failed to encode state: {}", error.what()));
  }
}

float VolumeMixerStore::masterVolume() const {
  return clampMasterVolume(float(settings_.number(kMasterVolumeKey).value_or(1.0)), boostAllowed());
}

void VolumeMixerStore::setMasterVolume(float volume) { settings_.set(kMasterVolumeKey, volume); }

std::set<std::string> VolumeMixerStore::directApps() const { return settings_.stringSet(kDirectAppsKey); }

void VolumeMixerStore::setDirectApps(const std::set<std::string>& bundleIDs) {
  settings_.setStringSet(kDirectAppsKey, bundleIDs);
}

std::set<std::string> VolumeMixerStore::dawHintSeen() const { return settings_.stringSet(kDAWHintSeenKey); }

void VolumeMixerStore::setDAWHintSeen(const std::set<std::string>& bundleIDs) {
  settings_.setStringSet(kDAWHintSeenKey, bundleIDs);
}

AppEQSettings VolumeMixerStore::outputEQ() const {
  if (const auto stored = settings_.data(kOutputEQKey))
    if (const auto settings = decodeJSON<AppEQSettings>(*stored)) return *settings;
  return {};
}

// A record that could not be read back (a number that is none) is not written.
void VolumeMixerStore::setOutputEQ(const AppEQSettings& settings) {
  if (std::string json = encodeJSON(settings); decodeJSON<AppEQSettings>(json))
    settings_.set(kOutputEQKey, SettingsData{std::move(json)});
}

}  // namespace sonmere
