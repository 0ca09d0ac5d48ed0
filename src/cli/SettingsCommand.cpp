#include "cli/SettingsCommand.h"

#include <fmt/format.h>

#include "app/FileSettingsStore.h"
#include "base/VirtualRuntime.h"
#include "cli/ExitStatus.h"

namespace sonmere {

namespace {

// The store without any thread: what is changed is written before the command ends.
class SettingsSession {
 public:
  SettingsSession() { log_.addSink(Log::standardError(LogLevel::warning)); }

  FileSettingsStore& store() { return store_; }
  int finish() {
    const auto written = store_.synchronize();
    if (written) return kExitSuccess;
    fmt::print(stderr, "sonmere settings: {}\n", written.error().description);
    return kExitFailure;
  }

 private:
  VirtualRuntime runtime_{1};
  Log log_;
  FileSettingsStore store_{runtime_, log_, defaultSettingsPath()};
};

// Strings and data read best as they are.
std::string plainText(const SettingsValue& value) {
  if (const auto* text = value.as<std::string>()) return *text;
  if (const auto* data = value.as<SettingsData>()) return data->bytes;
  return settingsValueToJSON(value);
}

int noSuchKey(const std::string& key) {
  fmt::print(stderr, "sonmere settings: there is no value under \"{}\"\n", key);
  return kExitFailure;
}

}  // namespace

int runSettingsGet(const std::string& key) {
  SettingsSession session;
  const auto value = session.store().object(key);
  if (!value) return noSuchKey(key);
  fmt::print("{}\n", plainText(*value));
  return kExitSuccess;
}

int runSettingsSet(const std::string& key, const std::string& value, bool asData) {
  SettingsSession session;
  if (asData)
    session.store().set(key, SettingsData{value});
  else
    session.store().set(key, settingsValueFromJSON(value).value_or(SettingsValue(value)));
  return session.finish();
}

int runSettingsDelete(const std::string& key) {
  SettingsSession session;
  if (!session.store().object(key)) return noSuchKey(key);
  session.store().remove(key);
  return session.finish();
}

int runSettingsList(bool json) {
  SettingsSession session;
  SettingsValue::Dictionary all;
  for (const std::string& key : session.store().keys())
    if (auto value = session.store().object(key)) all[key] = std::move(*value);
  if (json) {
    fmt::print("{}\n", settingsValueToJSON(all, 2));
    return kExitSuccess;
  }
  for (const auto& [key, value] : all) fmt::print("{} = {}\n", key, settingsValueToJSON(value));
  return kExitSuccess;
}

}  // namespace sonmere
