#include "app/SettingsTransfer.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <nlohmann/json.hpp>

#include "app/ProgramVersion.h"
#include "app/SettingsPart.h"
#include "app/SettingsTable.h"
#include "base/SettingsLevels.h"

namespace sonmere {

namespace {

using JSON = nlohmann::ordered_json;

constexpr const char* kFormat = "sonmere-settings";
// Counts the changes that an older program could not read.
constexpr int kVersion = 1;
constexpr std::size_t kMostBytes = 64u << 20;

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{kSettingsErrorDomain, 2, std::move(text)});
}

// The object of settings in either kind of file.
Outcome<JSON> settingsIn(const std::string& text) {
  if (text.size() > kMostBytes) return refuse("it is larger than settings can be");
  if (isNestedTooDeeply(text)) return refuse("it is nested too deeply");
  JSON file = JSON::parse(text, nullptr, false);
  if (!file.is_object()) return refuse("it is no JSON object");
  if (!file.contains("format")) return file;
  if (file["format"] != kFormat) return refuse("it is a file of something else");
  if (!file.contains("version") || file["version"] != kVersion)
    return refuse("it is of a later version of Sonmere");
  if (!file.contains("settings") || !file["settings"].is_object()) return refuse("it has no \"settings\"");
  return JSON(file["settings"]);
}

// Data is JSON of whoever owns it.
bool isSound(const SettingsValue& value) {
  const auto* data = value.as<SettingsData>();
  return !data || (!isNestedTooDeeply(data->bytes) && JSON::accept(data->bytes));
}

Outcome<SettingsValue> checked(const std::string& key, const JSON& json) {
  const auto value = settingsValueFromJSON(json.dump(-1, ' ', false, JSON::error_handler_t::replace));
  if (!value || !isSound(*value)) return refuse(fmt::format("the value of {} is damaged", key));
  const SettingDescription& setting = *describeSetting(key);
  return setting.kind == SettingDescription::Kind::structure ? *value : checkedSetting(setting, *value);
}

}  // namespace

std::string exportSettings(const SettingsStore& settings) {
  JSON values = JSON::object();
  for (const std::string& key : settings.keys())
    if (const auto value = settings.object(key); value && isIn(SettingsPart::portable, key))
      values[key] = JSON::parse(settingsValueToJSON(*value));
  const JSON file{
      {"format", kFormat}, {"version", kVersion}, {"program", kProgramVersion}, {"settings", values}};
  return file.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

Outcome<ImportedSettings> importSettings(const std::string& text) {
  const auto file = settingsIn(text);
  if (!file) return std::unexpected(file.error());
  ImportedSettings imported;
  std::vector<std::string> unknown;
  for (const auto& [key, json] : file->items()) {
    if (!describeSetting(key)) unknown.push_back(key);
    if (!isIn(SettingsPart::portable, key) || json.is_null()) continue;
    auto value = checked(key, json);
    if (!value) return std::unexpected(value.error());
    imported.values.emplace(key, std::move(*value));
  }
  if (!unknown.empty())
    imported.notes.push_back(
        fmt::format("left out, for this version does not know it: {}", fmt::join(unknown, ", ")));
  return imported;
}

}  // namespace sonmere
