#pragma once

#include <map>
#include <string>

#include "base/SettingsStore.h"

namespace sonmere {

// The user's settings, but for values that hold for this run only. What is set or removed goes to the user's
// settings. Main thread; the settings outlive it.
class OverriddenSettings final : public SettingsStore {
 public:
  explicit OverriddenSettings(SettingsStore& settings) : settings_(settings) {}

  // A null hides what is stored.
  void override(std::string key, SettingsValue value) { values_[std::move(key)] = std::move(value); }

  std::optional<SettingsValue> object(std::string_view key) const override {
    const auto found = values_.find(key);
    if (found == values_.end()) return settings_.object(key);
    return found->second.isNull() ? std::nullopt : std::optional(found->second);
  }
  void set(std::string_view key, SettingsValue value) override { settings_.set(key, std::move(value)); }
  void remove(std::string_view key) override { settings_.remove(key); }
  std::vector<std::string> keys() const override { return settings_.keys(); }

 private:
  SettingsStore& settings_;
  std::map<std::string, SettingsValue, std::less<>> values_;
};

}  // namespace sonmere
