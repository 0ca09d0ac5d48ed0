#include "routing/RoutingState.h"

#include <cmath>

#include "dsp/Boost.h"

namespace sonmere {

namespace {

constexpr const char* kEnabledAppsKey = "sonmere.perapp.enabledApps";
constexpr const char* kVolumesKey = "sonmere.perapp.volumes";
constexpr const char* kMutedKey = "sonmere.perapp.muted";
constexpr const char* kBusesKey = "sonmere.perapp.buses";
constexpr const char* kMonitorVolumesKey = "sonmere.perapp.monitorVolumes";
constexpr const char* kMonitorLinksKey = "sonmere.perapp.monitorLinks";
constexpr const char* kOutputDevicesKey = "sonmere.perapp.outputDevices";
constexpr const char* kOutputChannelsKey = "sonmere.perapp.outputChannels";
constexpr const char* kGlobalEnabledKey = "sonmere.perapp.globalEnabled";

std::optional<double> asNumber(const SettingsValue& value) {
  if (const auto* whole = value.as<std::int64_t>()) return double(*whole);
  if (const auto* number = value.as<double>(); number && std::isfinite(*number)) return *number;
  return std::nullopt;
}

// A whole number that fits an int.
std::optional<int> asIndex(const SettingsValue& value) {
  const auto number = asNumber(value);
  if (!number || *number != std::floor(*number) || std::abs(*number) > 1e6) return std::nullopt;
  return int(*number);
}

template <class Take>
void forEach(const SettingsStore& settings, const char* key, Take&& take) {
  if (const auto entries = settings.dictionary(key))
    for (const auto& [bundleID, value] : *entries) take(bundleID, value);
}

}  // namespace

RoutingState::RoutingState(SettingsStore& settings, bool boostAllowed)
    : settings_(settings),
      enabled_(settings.stringSet(kEnabledAppsKey)),
      isGlobalEnabled_(settings.optionalBool(kGlobalEnabledKey).value_or(true)) {
  forEach(settings, kVolumesKey, [&](const auto& id, const auto& value) {
    if (const auto v = asNumber(value)) rows_[id].volume = clampAppVolume(float(*v), boostAllowed);
  });
  forEach(settings, kMutedKey, [&](const auto& id, const auto& value) {
    if (const auto* muted = value.template as<bool>()) rows_[id].isMuted = *muted;
  });
  forEach(settings, kBusesKey, [&](const auto& id, const auto& value) {
    if (const auto bus = asIndex(value)) rows_[id].busIndex = *bus;
  });
  forEach(settings, kMonitorVolumesKey, [&](const auto& id, const auto& value) {
    if (const auto v = asNumber(value)) rows_[id].monitorVolume = clampAppVolume(float(*v), boostAllowed);
  });
  forEach(settings, kMonitorLinksKey, [&](const auto& id, const auto& value) {
    if (const auto* linked = value.template as<bool>()) rows_[id].monitorLinked = *linked;
  });
  forEach(settings, kOutputDevicesKey, [&](const auto& id, const auto& value) {
    if (const auto* uid = value.template as<std::string>(); uid && !uid->empty())
      rows_[id].outputDeviceUID = *uid;
  });
  forEach(settings, kOutputChannelsKey, [&](const auto& id, const auto& value) {
    const auto* pair = value.template as<SettingsValue::Array>();
    if (!pair || pair->size() != 2) return;
    const auto left = asIndex((*pair)[0]), right = asIndex((*pair)[1]);
    if (!left || !right) return;
    rows_[id].outputLeftChannel = *left;
    rows_[id].outputRightChannel = *right;
  });
}

void RoutingState::restore(TappedAppInfo& row) const {
  const auto found = rows_.find(row.bundleID);
  if (found == rows_.end()) return;
  const Saved& saved = found->second;
  row.volume = saved.volume;
  row.monitorVolume = saved.monitorVolume;
  row.monitorLinked = saved.monitorLinked;
  row.isMuted = saved.isMuted;
  row.busIndex = saved.busIndex;
  row.outputDeviceUID = saved.outputDeviceUID;
  row.outputLeftChannel = saved.outputLeftChannel;
  row.outputRightChannel = saved.outputRightChannel;
}

void RoutingState::setIntended(const std::string& bundleID, bool routed) {
  routed ? (void)enabled_.insert(bundleID) : (void)enabled_.erase(bundleID);
}

void RoutingState::note(const TappedAppInfo& row) {
  rows_[row.bundleID] = {row.volume,   row.monitorVolume,   row.monitorLinked,     row.isMuted,
                         row.busIndex, row.outputDeviceUID, row.outputLeftChannel, row.outputRightChannel};
}

AppProfileEntry RoutingState::entry(const std::string& bundleID) const {
  const auto found = rows_.find(bundleID);
  const Saved saved = found == rows_.end() ? Saved{} : found->second;
  return {bundleID, saved.volume, saved.isMuted, saved.busIndex};
}

void RoutingState::adopt(const AppProfileEntry& entry) {
  enabled_.insert(entry.bundleID);
  Saved& saved = rows_[entry.bundleID];
  saved.volume = entry.volume;
  if (saved.monitorLinked) saved.monitorVolume = entry.volume;
  saved.isMuted = entry.isMuted;
  saved.busIndex = entry.busIndex;
}

void RoutingState::clampVolumes(bool boostAllowed) {
  for (auto& [id, saved] : rows_) {
    saved.volume = clampAppVolume(saved.volume, boostAllowed);
    saved.monitorVolume = clampAppVolume(saved.monitorVolume, boostAllowed);
  }
}

void RoutingState::save() {
  SettingsValue::Dictionary volumes, muted, buses, monitorVolumes, monitorLinks, devices, channels;
  for (const auto& [id, saved] : rows_) {
    volumes[id] = saved.volume;
    muted[id] = saved.isMuted;
    buses[id] = saved.busIndex;
    monitorVolumes[id] = saved.monitorVolume;
    monitorLinks[id] = saved.monitorLinked;
    if (!saved.outputDeviceUID) continue;
    devices[id] = *saved.outputDeviceUID;
    channels[id] = SettingsValue::Array{saved.outputLeftChannel, saved.outputRightChannel};
  }
  settings_.setStringSet(kEnabledAppsKey, enabled_);
  settings_.set(kGlobalEnabledKey, isGlobalEnabled_);
  settings_.set(kVolumesKey, std::move(volumes));
  settings_.set(kMutedKey, std::move(muted));
  settings_.set(kBusesKey, std::move(buses));
  settings_.set(kMonitorVolumesKey, std::move(monitorVolumes));
  settings_.set(kMonitorLinksKey, std::move(monitorLinks));
  settings_.set(kOutputDevicesKey, std::move(devices));
  settings_.set(kOutputChannelsKey, std::move(channels));
}

}  // namespace sonmere
