#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/SettingsValue.h"

namespace sonmere {

// The one flat map of all user settings. A value of another kind than asked for reads as absent.
// Writes take effect at once and reach the disk soon after. Main thread.
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;

  virtual std::optional<SettingsValue> object(std::string_view key) const = 0;
  virtual void set(std::string_view key, SettingsValue value) = 0;
  virtual void remove(std::string_view key) = 0;
  // All keys in ascending order.
  virtual std::vector<std::string> keys() const = 0;

  // Absent or of another kind counts as false.
  bool boolValue(std::string_view key) const { return optionalBool(key).value_or(false); }
  // For flags where absent must differ from false.
  std::optional<bool> optionalBool(std::string_view key) const;
  // Whole numbers read as numbers too.
  std::optional<double> number(std::string_view key) const;
  std::optional<std::string> string(std::string_view key) const;
  // Array of strings; one with any other entry reads as absent.
  std::optional<std::vector<std::string>> stringArray(std::string_view key) const;
  std::optional<SettingsValue::Dictionary> dictionary(std::string_view key) const;
  std::optional<std::string> data(std::string_view key) const;
  // Sets of identifiers are stored as arrays, here in ascending order.
  void setStringSet(std::string_view key, const std::set<std::string>& values);
  std::set<std::string> stringSet(std::string_view key) const;
};

// A store without a file, for tests and for programs that must leave no trace.
class MemorySettingsStore final : public SettingsStore {
 public:
  std::optional<SettingsValue> object(std::string_view key) const override;
  void set(std::string_view key, SettingsValue value) override;
  void remove(std::string_view key) override;
  std::vector<std::string> keys() const override;

 private:
  std::map<std::string, SettingsValue, std::less<>> values_;
};

}  // namespace sonmere
