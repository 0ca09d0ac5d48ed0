#include "cli/SettingsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include "app/FileSettingsStore.h"
#include "app/SettingState.h"
#include "app/SettingsTable.h"
#include "base/SettingsLevels.h"
#include "base/VirtualRuntime.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RunningProgram.h"
#include "cli/Tell.h"
#include "cli/Text.h"
#include "cli/TextTable.h"
#include "cli/UserLibrary.h"
#include "control/SettingsCodec.h"
#include "recording/RecordingsFolderState.h"

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

int noValue(const std::string& key) {
  const SettingDescription* setting = describeSetting(key);
  return tell(kExitFailure, setting ? fmt::format("{} is not set. {}", key, setting->meaning)
                                    : fmt::format("there is no value under \"{}\"", key));
}

// What the arguments say: a switch in words, JSON, or else the text as it stands.
SettingsValue valueOf(const std::string& key, const std::string& text) {
  const SettingDescription* setting = describeSetting(key);
  const bool isFlag = setting && setting->kind == SettingDescription::Kind::flag;
  if (isFlag && (text == "on" || text == "off")) return text == "on";
  return settingsValueFromJSON(text).value_or(SettingsValue(text));
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

int setFolderInFile(const std::string& folder) {
  const auto user = UserLibrary::open([](const std::string& warning) { tell(kExitSuccess, warning); });
  if (!user) return tell(kExitFailure, user.error().description);
  RecordingsLibrary& library = (*user)->library();
  const auto choice = library.chooseFolder(folder);
  if (choice == RecordingsLibrary::Choice::refused)
    return tell(kExitBadInput, folder + " can't be written to");
  if (choice == RecordingsLibrary::Choice::absent)
    tell(kExitSuccess, pickedFolderUnavailableText(library.defaultFolder()));
  const auto saved = (*user)->save();
  return saved ? int(kExitSuccess) : tell(kExitFailure, saved.error().description);
}

int setInFile(const std::string& key, const SettingsValue& value, bool force) {
  const auto setting = settableSetting(key);
  const auto checked = setting ? checkedSetting(**setting, value) : std::unexpected(setting.error());
  if (!checked && !force) return tell(kExitBadInput, checked.error().description);
  if (!force && (*setting)->kind == SettingDescription::Kind::folder)
    return setFolderInFile(*checked->as<std::string>());
  return withSettings([&](SettingsSession& session) {
    session.store().set(key, checked.value_or(value));
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

// As the service has it.
std::string valueText(const ControlJSON& setting) {
  if (setting.contains("bytes")) return fmt::format("{} bytes", setting["bytes"].dump());
  const auto value = settingsValueFromJSON(setting.value("value", ControlJSON()).dump());
  return !value || value->isNull() ? "-" : plainText(*value);
}

std::string changedText(const ControlJSON& setting) {
  if (!setting.value("changed", false) || !setting.contains("default")) return "";
  const ControlJSON& otherwise = setting["default"];
  return otherwise.is_null() ? " (changed)" : fmt::format(" (changed; without it {})", otherwise.dump());
}

std::string listText(const ControlJSON& settings) {
  TextTable table({{"key"}, {"value"}, {"takes"}, {"meaning"}});
  for (const ControlJSON& each : settings)
    table.add({each.value("key", ""), valueText(each), each.value("takes", ""),
               each.value("meaning", "not known to this version") + changedText(each)});
  return table.text();
}

}  // namespace

int runSettingsGet(const std::string& key) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  if (auto program = programWithTheseSettings())
    if (const auto setting = program->call("settings.get", {{"key", key}});
        setting && setting->contains("value") && !(*setting)["value"].is_null()) {
      return show(valueText(*setting));
    }
  return withSettings([&](SettingsSession& session) {
    const SettingState state = settingState(session.store(), key);
    if (state.value.isNull()) return noValue(key);
    return show(plainText(state.value));
  });
}

int runSettingsSet(const std::string& key, const std::string& text, SettingsForm form) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  if (!form.isData && isNestedTooDeeply(text))
    return tell(kExitBadInput, fmt::format("the value of \"{}\" is nested too deeply; {} levels are the most",
                                           key, kMostValueLevels));
  const SettingsValue value = form.isData ? SettingsValue(SettingsData{text}) : valueOf(key, text);
  auto program = programWithTheseSettings();
  if (!program) return setInFile(key, value, form.isForced);
  const auto json = ControlJSON::parse(settingsValueToJSON(value), nullptr, false);
  const int status =
      finish(program->call("settings.set", {{"key", key}, {"value", json}, {"force", form.isForced}}));
  return status == kExitSuccess && keepsNothing(*program) ? setInFile(key, value, form.isForced) : status;
}

int runSettingsReset(const std::string& key) {
  if (key.empty()) return tell(kExitBadInput, "the key is empty");
  auto program = programWithTheseSettings();
  if (!program) return resetInFile(key);
  const int status = finish(program->call("settings.reset", {{"key", key}}));
  return status == kExitSuccess && keepsNothing(*program) ? resetInFile(key) : status;
}

int runSettingsList(bool json) {
  const auto show = [json](const ControlJSON& settings) {
    fmt::print("{}", json ? jsonText({{"settings", settings}}) : listText(settings));
    return int(kExitSuccess);
  };
  if (auto program = programWithTheseSettings())
    if (const auto settings = program->call("settings")) return show(*settings);
  return withSettings([&](SettingsSession& session) {
    ControlJSON all = ControlJSON::array();
    for (const SettingState& each : settingStates(session.store())) all.push_back(encodeControl(each));
    return show(all);
  });
}

}  // namespace sonmere
