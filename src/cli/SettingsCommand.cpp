#include "cli/SettingsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include "app/FileSettingsStore.h"
#include "base/SettingsLevels.h"
#include "base/VirtualRuntime.h"
#include "cli/ExitStatus.h"
#include "cli/Tell.h"
#include "cli/Text.h"

namespace sonmere {

namespace {

int tell(int status, const std::string& text) { return sonmere::tell("settings", status, text); }

// A log whose warnings the user sees; errors come back from the store and are told once, by the command.
class CommandLog : public Log {
 public:
  CommandLog() {
    addSink([](LogLevel level, const std::string& line) {
      if (level == LogLevel::warning) tell(kExitSuccess, line);
    });
  }
};

// The store without any thread: what is changed is written before the command ends.
class SettingsSession {
 public:
  FileSettingsStore& store() { return store_; }
  int finish() {
    const auto written = store_.synchronize();
    return written ? kExitSuccess : tell(kExitFailure, written.error().description);
  }

 private:
  VirtualRuntime runtime_{1};
  CommandLog log_;  // loading the store may warn already
  FileSettingsStore store_{runtime_, log_, defaultSettingsPath()};
};

// Runs `command` on the settings; what can't be read must not pass for empty.
template <class Command>
int withSettings(Command&& command) {
  SettingsSession session;
  if (const auto& error = session.store().loadError()) return tell(kExitFailure, error->description);
  return command(session);
}

// With a key that must not be empty.
template <class Command>
int withKey(const std::string& key, Command&& command) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  return withSettings(std::forward<Command>(command));
}

// Strings and data read best as they are.
std::string plainText(const SettingsValue& value) {
  if (const auto* text = value.as<std::string>()) return *text;
  if (const auto* data = value.as<SettingsData>()) return data->bytes;
  return settingsValueToJSON(value);
}

int noSuchKey(const std::string& key) {
  return tell(kExitFailure, fmt::format("there is no value under \"{}\"", key));
}

}  // namespace

int runSettingsGet(const std::string& key) {
  return withKey(key, [&](SettingsSession& session) {
    const auto value = session.store().object(key);
    if (!value) return noSuchKey(key);
    // A program that reads it gets the very bytes.
    const std::string text = plainText(*value);
    fmt::print("{}\n", isatty(STDOUT_FILENO) ? printableLines(text) : text);
    return int(kExitSuccess);
  });
}

int runSettingsSet(const std::string& key, const std::string& value, bool asData) {
  if (!asData && isNestedTooDeeply(value))
    return tell(kExitBadInput, fmt::format("the value of \"{}\" is nested too deeply; {} levels are the most",
                                           key, kMostValueLevels));
  return withKey(key, [&](SettingsSession& session) {
    if (asData)
      session.store().set(key, SettingsData{value});
    else
      session.store().set(key, settingsValueFromJSON(value).value_or(SettingsValue(value)));
    return session.finish();
  });
}

int runSettingsDelete(const std::string& key) {
  return withKey(key, [&](SettingsSession& session) {
    if (!session.store().object(key)) return noSuchKey(key);
    session.store().remove(key);
    return session.finish();
  });
}

int runSettingsList(bool json) {
  return withSettings([&](SettingsSession& session) {
    SettingsValue::Dictionary all;
    for (const std::string& key : session.store().keys())
      if (auto value = session.store().object(key)) all[key] = std::move(*value);
    if (json) {
      fmt::print("{}\n", printableJSON(settingsValueToJSON(all, 2)));
      return kExitSuccess;
    }
    for (const auto& [key, value] : all)
      fmt::print("{} = {}\n", printable(key), printableJSON(settingsValueToJSON(value)));
    return kExitSuccess;
  });
}

}  // namespace sonmere
