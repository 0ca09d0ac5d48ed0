#pragma once

#include <string>

#include "base/SettingsStore.h"
#include "dsp/EffectSettingsCodec.h"

namespace sonmere {

// An effect's settings as they are stored; those of a key that holds none, or what can't be read, are the
// default.
template <class T>
T storedEffect(const SettingsStore& settings, const std::string& key) {
  if (const auto json = settings.data(key))
    if (const auto record = decodeJSON<T>(*json)) return *record;
  return {};
}

// A record that could not be read back (a number that is none) is not written.
template <class T>
void storeEffect(SettingsStore& settings, const std::string& key, const T& record) {
  if (std::string json = encodeJSON(record); decodeJSON<T>(json))
    settings.set(key, SettingsData{std::move(json)});
}

}  // namespace sonmere
