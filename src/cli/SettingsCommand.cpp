#include "cli/SettingsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "app/FileSettingsStore.h"
#include "app/PlatformFolders.h"
#include "app/SettingState.h"
#include "app/SettingsTable.h"
#include "base/SettingsLevels.h"
#include "base/VirtualRuntime.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/Tell.h"
#include "cli/Text.h"
#include "cli/TextTable.h"
#include "cli/UserLibrary.h"
#include "control/ControlClient.h"
#include "control/SettingsCodec.h"

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

// Strings and data read best as they are.
std::string plainText(const SettingsValue& value) {
  if (const auto* text = value.as<std::string>()) return *text;
  if (const auto* data = value.as<SettingsData>()) return data->bytes;
  return settingsValueToJSON(value);
}

// A program that reads it gets the very bytes.
int show(const std::string& text) {
  fmt::print("{}\n", isatty(STDOUT_FILENO) ? printableLines(text) : text);
  return kExitSuccess;
}

int noSuchKey(const std::string& key) {
  return tell(kExitFailure, fmt::format("there is no value under \"{}\"", key));
}

// What the arguments say: a switch in words, JSON, or else the text as it stands.
SettingsValue valueOf(const std::string& key, const std::string& text) {
  const SettingDescription* setting = describeSetting(key);
  const bool isFlag = setting && setting->kind == SettingDescription::Kind::flag;
  if (isFlag && (text == "on" || text == "off")) return text == "on";
  return settingsValueFromJSON(text).value_or(SettingsValue(text));
}

// The program that runs, when it has the settings that this command is for.
std::optional<ControlClient> runningProgram() {
  auto client = ControlClient::connect(userControlFolder());
  if (!client || client->greeting().value("settings", "") != defaultSettingsPath().string())
    return std::nullopt;
  return std::move(*client);
}

// On the invented machine a program takes settings up for its run alone.
bool keepsNothing(const ControlClient& program) {
  return program.greeting().value("platform", "") == "simulated";
}

int finish(const Outcome<ControlJSON>& change) {
  const RemoteCall call("settings");
  if (!change) return call.fail(change.error());
  call.showNotes(*change);
  return kExitSuccess;
}

// One that is not there yet may come.
Outcome<void> checkFolder(const std::string& folder) {
  if (!std::filesystem::exists(folder)) return {};
  const auto user = UserLibrary::open([](const std::string&) {});
  if (user && (*user)->library().isFolderUsable(folder) && (*user)->library().writeTest(folder)) return {};
  return std::unexpected(Error{kSettingsErrorDomain, 1, folder + " can't be written to"});
}

Outcome<void> checkForFile(const std::string& key, const SettingsValue& value) {
  const auto setting = settableSetting(key);
  if (!setting) return std::unexpected(setting.error());
  const auto checked = checkedSetting(**setting, value);
  if (!checked) return std::unexpected(checked.error());
  if ((*setting)->kind == SettingDescription::Kind::folder) return checkFolder(*checked->as<std::string>());
  return {};
}

int setInFile(const std::string& key, const SettingsValue& value, bool force) {
  if (const auto checked = checkForFile(key, value); !checked && !force)
    return tell(kExitBadInput, checked.error().description);
  return withSettings([&](SettingsSession& session) {
    session.store().set(key, value);
    return session.finish();
  });
}

int resetInFile(const std::string& key) {
  return withSettings([&](SettingsSession& session) {
    if (!session.store().object(key) && !describeSetting(key))
      return tell(kExitBadInput, settableSetting(key).error().description);
    session.store().remove(key);
    return session.finish();
  });
}

std::string valueText(const ControlJSON& setting) {
  if (setting.contains("bytes")) return fmt::format("{} bytes", setting["bytes"].dump());
  const ControlJSON value = setting.value("value", ControlJSON());
  return value.is_null() ? "-" : value.is_string() ? std::string(value) : value.dump();
}

std::string listText(const ControlJSON& settings) {
  TextTable table({{"key"}, {"value"}, {"takes"}, {"meaning"}});
  for (const ControlJSON& each : settings) {
    const bool isTold = each.value("changed", false) && each.contains("default");
    table.add({each.value("key", ""), valueText(each), each.value("takes", ""),
               each.value("meaning", "not known to this version") +
                   (isTold ? fmt::format(" (changed; without it {})", each["default"].dump()) : "")});
  }
  return table.text();
}

}  // namespace

int runSettingsGet(const std::string& key) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  if (auto program = runningProgram())
    if (const auto setting = program->call("settings.get", {{"key", key}});
        setting && setting->contains("value") && !(*setting)["value"].is_null()) {
      return show(valueText(*setting));
    }
  return withSettings([&](SettingsSession& session) {
    const SettingState state = settingState(session.store(), key);
    if (state.value.isNull()) return noSuchKey(key);
    return show(plainText(state.value));
  });
}

int runSettingsSet(const std::string& key, const std::string& text, SettingsForm form) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  if (!form.isData && isNestedTooDeeply(text))
    return tell(kExitBadInput, fmt::format("the value of \"{}\" is nested too deeply; {} levels are the most",
                                           key, kMostValueLevels));
  const SettingsValue value = form.isData ? SettingsValue(SettingsData{text}) : valueOf(key, text);
  auto program = runningProgram();
  if (!program) return setInFile(key, value, form.isForced);
  const auto json = ControlJSON::parse(settingsValueToJSON(value), nullptr, false);
  const int status =
      finish(program->call("settings.set", {{"key", key}, {"value", json}, {"force", form.isForced}}));
  return status == kExitSuccess && keepsNothing(*program) ? setInFile(key, value, form.isForced) : status;
}

int runSettingsReset(const std::string& key) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  auto program = runningProgram();
  if (!program) return resetInFile(key);
  const int status = finish(program->call("settings.reset", {{"key", key}}));
  return status == kExitSuccess && keepsNothing(*program) ? resetInFile(key) : status;
}

int runSettingsList(bool json) {
  const auto show = [json](const ControlJSON& settings) {
    fmt::print("{}", json ? jsonText({{"settings", settings}}) : listText(settings));
    return int(kExitSuccess);
  };
  if (auto program = runningProgram())
    if (const auto settings = program->call("settings")) return show(*settings);
  return withSettings([&](SettingsSession& session) {
    ControlJSON all = ControlJSON::array();
    for (const SettingState& each : settingStates(session.store())) all.push_back(encodeControl(each));
    return show(all);
  });
}

}  // namespace sonmere
