#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "base/SettingsStore.h"

namespace sonmere {

// The user's settings for a run that must not change them: what is set or removed stays in memory, for this
// run alone. Main thread; the settings outlive it.
class DetachedSettings final : public SettingsStore {
 public:
  explicit DetachedSettings(const SettingsStore& settings) : settings_(settings) {}

  std::optional<SettingsValue> object(std::string_view key) const override {
    const auto found = changes_.find(key);
    if (found == changes_.end()) return settings_.object(key);
    return found->second.isNull() ? std::nullopt : std::optional(found->second);
  }
  void set(std::string_view key, SettingsValue value) override {
    changes_.insert_or_assign(std::string(key), std::move(value));
  }
  void remove(std::string_view key) override { set(key, {}); }
  std::vector<std::string> keys() const override {
    const auto stored = settings_.keys();
    std::set<std::string> all(stored.begin(), stored.end());
    for (const auto& [key, value] : changes_)
      if (value.isNull())
        all.erase(key);
      else
        all.insert(key);
    return {all.begin(), all.end()};
  }

 private:
  const SettingsStore& settings_;
  std::map<std::string, SettingsValue, std::less<>> changes_;  // null: removed
};

}  // namespace sonmere
