#include "system/MixModeEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/ThreadRules.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {

namespace {

constexpr const char* kIncludeKey = "sonmere.mixMode.includeSystemAudio";
constexpr const char* kVolumeKey = "sonmere.mixMode.systemAudioVolume";
constexpr const char* kHearTracksKey = "sonmere.mixMode.hearDAWTracks";
constexpr const char* kTrackVolumesKey = "sonmere.mixMode.dawTrackVolumes";
constexpr const char* kTrackMutedKey = "sonmere.mixMode.dawTrackMuted";

float held(double volume) { return std::isfinite(volume) ? float(std::clamp(volume, 0.0, 1.0)) : 1.0f; }

std::optional<double> numberOf(const SettingsValue& value) {
  if (const auto* whole = value.as<std::int64_t>()) return double(*whole);
  if (const auto* number = value.as<double>()) return *number;
  return std::nullopt;
}

template <class Values, class Read>
void readArray(const SettingsStore& settings, const char* key, Values& values, Read read) {
  const auto saved = settings.object(key);
  const auto* list = saved ? saved->as<SettingsValue::Array>() : nullptr;
  if (!list) return;
  for (std::size_t i = 0; i < std::min(list->size(), values.size()); ++i)
    if (const auto each = read((*list)[i])) values[i] = *each;
}

template <class Values>
SettingsValue::Array arrayOf(const Values& values) {
  return SettingsValue::Array(values.begin(), values.end());
}

}  // namespace

MixModeEngine::MixModeEngine(EngineContext& context) : context_(context) {
  const SettingsStore& settings = context.settings;
  isEnabled.silently() = settings.boolValue(kEnabledKey);
  includeSystemAudio.silently() = settings.boolValue(kIncludeKey);
  if (const auto saved = settings.object(kVolumeKey))
    if (const auto volume = numberOf(*saved)) systemAudioVolume.silently() = held(*volume);
  hearDAWTracks.silently() = settings.boolValue(kHearTracksKey);
  dawTrackVolumes.silently().fill(1);
  readArray(settings, kTrackVolumesKey, dawTrackVolumes.silently(), [](const SettingsValue& value) {
    const auto volume = numberOf(value);
    return volume ? std::optional(held(*volume)) : std::nullopt;
  });
  readArray(settings, kTrackMutedKey, dawTrackMuted.silently(), [](const SettingsValue& value) {
    const auto* muted = value.as<bool>();
    return muted ? std::optional(*muted) : std::nullopt;
  });
}

void MixModeEngine::launch() {
  assertMain();
  systemAudio_ = context_.notifications.observe(SystemAudioEngine::kChanged,
                                                [this](const NotificationInfo&) { systemAudioChanged(); });
  post();
}

bool MixModeEngine::setEnabled(bool enabled) {
  assertMain();
  if (enabled && isKillSwitchActive()) {
    context_.log.warning(fmt::format(
        "Sonmere Mix Mode: refusing to enable — runtime kill switch is set (defaults key {})", kDisabledKey));
    return false;
  }
  if (enabled == *isEnabled) return true;
  isEnabled.set(enabled);
  context_.settings.set(kEnabledKey, enabled);
  if (enabled)
    context_.settings.set(kToggleCounterKey,
                          std::int64_t(context_.settings.number(kToggleCounterKey).value_or(0)) + 1);
  post();
  return true;
}

void MixModeEngine::systemAudioChanged() {
  if (!context_.settings.boolValue(SystemAudioEngine::kEnabledKey) || !*isEnabled) return;
  context_.log.info(
      "Sonmere: System Audio Passthrough turned on — disabling Mix Mode to avoid output collision");
  setEnabled(false);
}

template <class T>
void MixModeEngine::change(OwnedObservable<T, MixModeEngine>& value, T wanted, const char* key) {
  if (wanted == *value) return;
  value.set(wanted);
  if (key) context_.settings.set(key, wanted);
  post();
}

void MixModeEngine::setIncludeSystemAudio(bool includes) {
  assertMain();
  change(includeSystemAudio, includes, kIncludeKey);
}

void MixModeEngine::setSystemAudioVolume(float volume) {
  assertMain();
  change(systemAudioVolume, held(volume), kVolumeKey);
}

void MixModeEngine::setPreviewStreamMix(bool previews) {
  assertMain();
  change(previewStreamMix, previews, nullptr);
}

void MixModeEngine::setHearDAWTracks(bool hears) {
  assertMain();
  change(hearDAWTracks, hears, kHearTracksKey);
}

void MixModeEngine::setDAWTrackVolume(int track, float volume) {
  assertMain();
  if (track < 1 || track > kTracks) return;
  dawTrackVolumes.update([&](auto& all) { all[std::size_t(track - 1)] = held(volume); });
  context_.settings.set(kTrackVolumesKey, arrayOf(*dawTrackVolumes));
  post();
}

void MixModeEngine::setDAWTrackMuted(int track, bool muted) {
  assertMain();
  if (track < 1 || track > kTracks) return;
  dawTrackMuted.update([&](auto& all) { all[std::size_t(track - 1)] = muted; });
  context_.settings.set(kTrackMutedKey, arrayOf(*dawTrackMuted));
  post();
}

MixModeWish MixModeEngine::wish() const {
  return {*isEnabled && !isKillSwitchActive(), *includeSystemAudio, *systemAudioVolume, *previewStreamMix};
}

std::optional<float> MixModeEngine::trackWish(int track) const {
  const auto at = std::size_t(track - 1);
  if (!wish().isEnabled || !*hearDAWTracks || dawTrackMuted.get()[at]) return std::nullopt;
  return dawTrackVolumes.get()[at];
}

}  // namespace sonmere
