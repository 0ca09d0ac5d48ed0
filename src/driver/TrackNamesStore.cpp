#include "driver/TrackNamesStore.h"

#include <cmath>

#include "audio/device/BusTable.h"

namespace sonmere {

namespace {

constexpr const char* kTrackNamesKey = "sonmere.trackNames";
constexpr const char* kClientGainsKey = "sonmere.clientGains";

bool isTrack(int bus) { return isBus(bus) && bus >= kFirstTrackBus; }

// The names' keys are the bus indices in decimal.
std::map<int, std::string> readTrackNames(const SettingsStore& settings) {
  std::map<int, std::string> names;
  const auto stored = settings.dictionary(kTrackNamesKey).value_or(SettingsValue::Dictionary{});
  for (int bus = kFirstTrackBus; bus < kBusCount; ++bus) {
    const auto found = stored.find(std::to_string(bus));
    if (found == stored.end()) continue;
    if (const auto* name = found->second.as<std::string>(); name && !name->empty()) names[bus] = *name;
  }
  return names;
}

std::map<std::string, float> readClientGains(const SettingsStore& settings) {
  std::map<std::string, float> gains;
  const auto stored = settings.dictionary(kClientGainsKey).value_or(SettingsValue::Dictionary{});
  for (const auto& [client, value] : stored) {
    const auto* whole = value.as<std::int64_t>();
    const auto* number = value.as<double>();
    const double gain = whole ? double(*whole) : number ? *number : -1.0;
    if (std::isfinite(gain) && gain >= 0) gains[client] = float(gain);
  }
  return gains;
}

}  // namespace

TrackNamesStore::TrackNamesStore(SettingsStore& settings)
    : trackNames(readTrackNames(settings)), clientGains(readClientGains(settings)), settings_(settings) {}

bool TrackNamesStore::setTrackName(int bus, const std::string& name) {
  if (!isTrack(bus)) return false;
  auto names = *trackNames;
  if (name.empty())
    names.erase(bus);
  else
    names[bus] = name;
  if (names == *trackNames) return true;
  trackNames.silently() = std::move(names);
  writeTrackNames();
  return true;
}

void TrackNamesStore::setClientGains(std::map<std::string, float> gains) {
  if (gains == *clientGains) return;
  clientGains.silently() = std::move(gains);
  writeClientGains();
}

void TrackNamesStore::reapply() {
  writeTrackNames();
  writeClientGains();
}

void TrackNamesStore::writeTrackNames() {
  SettingsValue::Dictionary stored;
  for (const auto& [bus, name] : *trackNames) stored[std::to_string(bus)] = name;
  if (!stored.empty() || settings_.object(kTrackNamesKey)) settings_.set(kTrackNamesKey, std::move(stored));
  trackNames.update([](auto&) {});
}

void TrackNamesStore::writeClientGains() {
  SettingsValue::Dictionary stored;
  for (const auto& [client, gain] : *clientGains) stored[client] = gain;
  if (!stored.empty() || settings_.object(kClientGainsKey)) settings_.set(kClientGainsKey, std::move(stored));
  clientGains.update([](auto&) {});
}

}  // namespace sonmere
