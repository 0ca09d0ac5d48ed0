#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sonmere {

// Bytes whose meaning only their owner knows; structured settings are JSON text in such a value.
struct SettingsData {
  std::string bytes;
  bool operator==(const SettingsData&) const = default;
};

// One value of the settings store. monostate is a null that another program wrote: kept, read as absent.
struct SettingsValue {
  using Array = std::vector<SettingsValue>;
  using Dictionary = std::map<std::string, SettingsValue>;
  std::variant<std::monostate, bool, std::int64_t, double, std::string, SettingsData, Array, Dictionary>
      value;

  SettingsValue() = default;
  SettingsValue(bool v) : value(v) {}                           // NOLINT: values convert implicitly
  SettingsValue(int v) : value(std::int64_t(v)) {}              // NOLINT
  SettingsValue(std::int64_t v) : value(v) {}                   // NOLINT
  SettingsValue(double v) : value(v) {}                         // NOLINT
  SettingsValue(float v) : value(double(v)) {}                  // NOLINT
  SettingsValue(std::string v) : value(std::move(v)) {}         // NOLINT
  SettingsValue(std::string_view v) : value(std::string(v)) {}  // NOLINT
  SettingsValue(const char* v) : value(std::string(v)) {}       // NOLINT
  SettingsValue(SettingsData v) : value(std::move(v)) {}        // NOLINT
  SettingsValue(Array v) : value(std::move(v)) {}               // NOLINT
  SettingsValue(Dictionary v) : value(std::move(v)) {}          // NOLINT
  bool operator==(const SettingsValue&) const = default;

  bool isNull() const { return value.index() == 0; }
  template <class T>
  const T* as() const {
    return std::get_if<T>(&value);
  }
};

// The value as JSON text, and back. Data stands as {"$data": base64}. `indent` of -1 gives one line.
// The reader answers nothing for text that is not JSON.
std::string settingsValueToJSON(const SettingsValue& value, int indent = -1);
std::optional<SettingsValue> settingsValueFromJSON(std::string_view json);

}  // namespace sonmere
