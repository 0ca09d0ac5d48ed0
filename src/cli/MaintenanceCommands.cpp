#include "cli/MaintenanceCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>

#include "app/FileSettingsStore.h"
#include "app/InstanceLock.h"
#include "app/PlatformFolders.h"
#include "app/SettingsReplacement.h"
#include "app/SettingsTransfer.h"
#include "base/AtomicFile.h"
#include "base/LiveRuntime.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RunningProgram.h"
#include "cli/Tell.h"
#include "cli/UninstallCommand.h"
#include "cli/WarningLog.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

constexpr Duration kLongestRestart = std::chrono::seconds(20);

struct Arguments {
  std::string file;
  bool isForced = false;
  bool isDry = false;
  bool json = false;
  bool routes = false, settings = false, all = false;
};
using Given = std::shared_ptr<Arguments>;

// What a command changes the settings by: a method of the program that runs, or the replacement itself.
struct Change {
  const char* command;
  const char* method;
  ControlJSON params;
  SettingsReplacement replacement;
};

void warn(const char* command, const std::string& text) { tell(command, kExitSuccess, text); }

// The program has ended, and the same is there anew.
bool waitForRestart(ControlClient program) {
  LiveRuntime runtime;
  const auto hasEnded = [&] { return !program.call("hello"); };
  const auto isBack = [] { return programWithTheseSettings().has_value(); };
  return runtime.waitUntil(hasEnded, kLongestRestart) && runtime.waitUntil(isBack, kLongestRestart);
}

int conclude(const std::optional<fs::path>& backup, bool isRestarted, bool json) {
  if (json) {
    printJSON({{"backup", backup ? OutputJSON(backup->string()) : OutputJSON(nullptr)},
               {"restarted", isRestarted}});
    return kExitSuccess;
  }
  fmt::print("Done.{}{}\n", isRestarted ? " Sonmere has started anew with these settings." : "",
             backup ? fmt::format(" What was before is kept in {}; settings import takes it back.",
                                  printable(backup->string()))
                    : "");
  return kExitSuccess;
}

int changeInProgram(ControlClient program, const Change& change, bool json) {
  const RemoteCall call(change.command);
  const auto before = settingsBackups(defaultSettingsPath());
  const auto answer = program.call(change.method, change.params);
  if (!answer) return call.fail(answer.error());
  call.showNotes(*answer);
  if (!waitForRestart(std::move(program)))
    return call.tell(kExitFailure, "Sonmere was told to start anew, but has not yet");
  const auto after = settingsBackups(defaultSettingsPath());
  const bool isNew = !after.empty() && (before.empty() || after.back() != before.back());
  return conclude(isNew ? std::optional(after.back()) : std::nullopt, true, json);
}

int changeInFile(const Change& change, bool json) {
  LiveRuntime runtime;
  WarningLog log([&](const std::string& text) { warn(change.command, text); });
  const auto backup = replaceSettings(log, defaultSettingsPath(), change.replacement, runtime.wallTime());
  if (!backup) return tell(change.command, kExitFailure, backup.error().description);
  return conclude(*backup, false, json);
}

int replace(const Change& change, bool json) {
  if (auto program = programWithTheseSettings()) return changeInProgram(std::move(*program), change, json);
  if (InstanceLock::isHeld(userControlFolder()) && !ControlClient::connect(userControlFolder()))
    return tell(change.command, kExitFailure, "Sonmere runs and takes no commands; end it first");
  return changeInFile(change, json);
}

// What the program that runs has, else what the file has.
Outcome<std::string> presentSettings() {
  if (auto program = programWithTheseSettings()) {
    const auto answer = program->call("settings.export");
    if (!answer) return std::unexpected(answer.error());
    return answer->value("text", std::string());
  }
  LiveRuntime runtime;
  WarningLog log([](const std::string& text) { warn("settings export", text); });
  const FileSettingsStore store(runtime, log, defaultSettingsPath());
  if (store.loadError()) return std::unexpected(*store.loadError());
  return exportSettings(store);
}

int exportTo(const Given& a) {
  const auto text = presentSettings();
  if (!text) return tell("settings export", kExitFailure, text.error().description);
  if (a->file == "-") {
    fmt::print("{}", *text);
    return kExitSuccess;
  }
  std::error_code ignored;
  if (!a->isForced && fs::exists(fs::symlink_status(a->file, ignored)))
    return tell("settings export", kExitBadInput, a->file + " exists; --force replaces it");
  const auto written = writeFileAtomically(a->file, *text);
  return written ? int(kExitSuccess) : tell("settings export", kExitFailure, written.error().description);
}

Outcome<std::string> givenText(const std::string& file) {
  if (file != "-") return readWholeFile(file);
  return std::string(std::istreambuf_iterator<char>(std::cin), {});
}

int importFrom(const Given& a) {
  constexpr const char* kCommand = "settings import";
  const auto text = givenText(a->file);
  if (!text) return tell(kCommand, kExitBadInput, text.error().description);
  auto imported = importSettings(*text);
  if (!imported)
    return tell(kCommand, kExitBadInput,
                fmt::format("{} can't be used: {}", a->file, imported.error().description));
  const bool isAnybodyThere = programWithTheseSettings().has_value();
  if (!isAnybodyThere)
    for (const std::string& note : imported->notes) warn(kCommand, note);
  return replace(
      {kCommand, "settings.import", {{"text", *text}}, {SettingsPart::portable, std::move(imported->values)}},
      a->json);
}

int resetPart(const Given& a) {
  if (a->routes + a->settings + a->all != 1)
    return tell("reset", kExitBadInput,
                "say what: --routes (where sound goes), --settings (everything else that you have set) or "
                "--all (as after the installation)");
  const SettingsPart part = a->routes     ? SettingsPart::routes
                            : a->settings ? SettingsPart::settings
                                          : SettingsPart::all;
  return replace({"reset", "reset", {{"part", name(part)}}, {part, {}}}, a->json);
}

}  // namespace

void addSettingsTransfer(CLI::App& settings, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* out = settings.add_subcommand(
      "export", "Write all settings and plug-in chains that hold on another machine too into one file");
  out->add_option("FILE", a->file, "The file; - is standard output")->required();
  out->add_flag("--force", a->isForced, "Replace a file that exists");
  out->callback([a, &run] { run = [a] { return exportTo(a); }; });
  CLI::App* in = settings.add_subcommand(
      "import",
      "Take the settings of such a file in place of the present ones, which are kept as a backup; a program "
      "that runs starts anew");
  in->add_option("FILE", a->file, "The file, or a backup; - is standard input")->required();
  in->add_flag("--json", a->json, "Print one JSON object");
  in->callback([a, &run] { run = [a] { return importFrom(a); }; });
}

void addMaintenance(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* reset = app.add_subcommand(
      "reset", "Take back what was set, with a backup first; a program that runs starts anew");
  reset->add_flag("--routes", a->routes, "Where sound goes: routes, devices, system audio, Mix Mode");
  reset->add_flag("--settings", a->settings,
                  "Everything else: volumes, effects, plug-ins, profiles, choices");
  reset->add_flag("--all", a->all, "All of it, as after the installation");
  reset->add_flag("--json", a->json, "Print one JSON object");
  reset->callback([a, &run] { run = [a] { return resetPart(a); }; });
  CLI::App* uninstall = app.add_subcommand(
      "uninstall", "Show or remove what the program has put where; recordings always stay");
  uninstall->add_flag("--dry-run", a->isDry, "Show it and remove nothing");
  uninstall->add_flag("--yes", a->isForced, "Remove it");
  uninstall->add_flag("--json", a->json, "Print one JSON object");
  uninstall->callback([a, &run] { run = [a] { return runUninstall(a->isDry, a->isForced, a->json); }; });
}

}  // namespace sonmere
