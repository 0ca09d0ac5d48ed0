#include "cli/CommandLine.h"
#include "app/ProgramVersion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <functional>

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "cli/CareCommands.h"
#include "cli/CommandTree.h"
#include "cli/Completion.h"
#include "cli/CompletionScripts.h"
#include "cli/CompletionSources.h"
#include "cli/DemoCommand.h"
#include "cli/DoctorCommand.h"
#include "cli/DriverCommand.h"
#include "cli/EditorCommands.h"
#include "cli/ExitStatus.h"
#include "cli/InputCommands.h"
#include "cli/LoginItemCommand.h"
#include "cli/MaintenanceCommands.h"
#include "cli/MonitorCommands.h"
#include "cli/PluginCommands.h"
#include "cli/PresetCommands.h"
#include "cli/RecordCommands.h"
#include "cli/RecordingsCommands.h"
#include "cli/RemoteCommands.h"
#include "cli/RoutesCommands.h"
#include "cli/RoutingCommands.h"
#include "cli/RuleCommands.h"
#include "cli/RunCommand.h"
#include "cli/ServiceCommand.h"
#include "cli/SettingsCommand.h"
#include "cli/SystemCommands.h"
#include "cli/Tell.h"
#include "cli/UsageError.h"

namespace sonmere {

namespace {

// The one argument that may be an empty text.
constexpr const char* kSettingValueName = "VALUE";
const std::string kVersion = std::string("sonmere ") + kProgramVersion;

struct Arguments {
  DemoArguments demo;
  RunArguments foreground;
  bool verbose = false;
  std::string key, value, shell, folder;
  std::vector<std::string> words;
  SettingsForm form;
  bool json = false;
  std::function<int()> run;
};

void addDemo(CLI::App& app, Arguments& arguments) {
  CLI::App* demo = app.add_subcommand(
      "demo", "Play audio files as apps on the embedded server, route them into buses and record every bus");
  DemoArguments& d = arguments.demo;
  demo->add_option("--app", d.apps,
                   "An app and the audio file that it plays (default: three built-in pieces)")
      ->type_name("ID=FILE")
      ->allow_extra_args(false);
  demo->add_option("--route", d.routes,
                   "The bus of an app: bridge, track1 to track8, or off (default: a Track of its own)")
      ->type_name("ID=BUS|off")
      ->allow_extra_args(false);
  demo->add_option("--output", d.outputs,
                   "A device that plays an app instead of its bus, and is recorded: speakers, headset or "
                   "interface (of 8 channels)")
      ->type_name("ID=DEVICE[:L/R]")
      ->allow_extra_args(false);
  demo->add_option("--volume", d.volumes, "The volume of an app: 50%, 0.5 or -6dB; above 100 % it is limited")
      ->type_name("ID=VOLUME")
      ->allow_extra_args(false);
  demo->add_option("--eq", d.equalisers, "Equaliser: any of hp:HZ, bell:HZ:DB:Q, lp:HZ, with commas between")
      ->type_name("ID=SECTIONS")
      ->allow_extra_args(false);
  demo->add_option("--limit", d.limits, "Limiter ceiling, -12 to 0 dB")
      ->type_name("ID=DB")
      ->allow_extra_args(false);
  demo->add_option("--mic", d.microphone,
                   "A microphone that hears this file, in the bridge; CHANNELS: auto, 1, 2, stereo or 2,1")
      ->type_name("FILE[:CHANNELS]");
  demo->add_option("--mic-send", d.micSends, "What of the microphone a Track gets, too")
      ->type_name("BUS=VOLUME")
      ->allow_extra_args(false);
  demo->add_option("--monitor", d.monitored,
                   "Hear an app, a bus or the microphone, and record what the speakers play; may be repeated")
      ->type_name("SCOPE[=VOLUME]")
      ->allow_extra_args(false);
  demo->add_flag("--system", d.hasSystemAudio,
                 "Lead what is not routed to the speakers and the bridge, and record both");
  demo->add_flag("--mix", d.isMixed, "Mix Mode with all that plays, recorded as the speakers play it");
  demo->add_option(
          "--plugin", d.plugins,
          "A plug-in on the microphone, an app or a bus, with values of its controls; may be repeated")
      ->type_name("SCOPE=URI[,CONTROL=VALUE]")
      ->allow_extra_args(false);
  demo->add_option("--record", d.layout,
                   "Record the bridge too, with the files of a layout: mixed, dualMono or separateTracks")
      ->type_name("mixed|dualMono|separateTracks");
  demo->add_option("--seconds", d.seconds, "How long to play (default: 20)")->type_name("N");
  demo->add_option("--out", d.folder, "Folder of the recordings (default: sonmere-demo)")->type_name("DIR");
  demo->add_option("--depth", d.depth, "Sample format: int16, int24 or float32 (default: int16)")
      ->type_name("int16|int24|float32");
  demo->add_option("--seed", d.seed, "Repeats a run in virtual time bit by bit")->type_name("N");
  demo->add_flag("--live", d.live, "In real time, with a thread per device");
  demo->add_flag("--json", d.json, "Print one JSON object");
  demo->add_flag("-v,--verbose", arguments.verbose, "Log to standard error");
  demo->callback([&arguments] {
    arguments.run = [&arguments] { return runDemoCommand(arguments.demo, arguments.verbose); };
  });
}

void addRun(CLI::App& app, Arguments& arguments) {
  CLI::App* run = app.add_subcommand("run", "Run the application in the foreground, without a window");
  RunArguments& r = arguments.foreground;
  run->add_option("--platform", r.platform, "The audio server: auto, pipewire or simulated (default: auto)")
      ->type_name("auto|pipewire|simulated");
  run->add_flag("--demo-apps", r.demoApps, "Three apps that play over and over, on the embedded server");
  run->add_option(
         "--route", r.routes,
         "The bus of an app, now or when it appears: bridge, track1 to track8, the name of a Track, or off")
      ->type_name("ID=BUS|off")
      ->allow_extra_args(false);
  run->add_option("--volume", r.volumes, "The volume of an app: 50%, 0.5 or -6dB")
      ->type_name("ID=VOLUME")
      ->allow_extra_args(false);
  run->add_option("--record", r.records, "Record a bus from its first app on")
      ->type_name("BUS")
      ->allow_extra_args(false);
  run->add_option("--out", r.folder, "Folder of the recordings (default: that of the settings)")
      ->type_name("DIR");
  run->add_option("--for", r.seconds, "End after this time (default: when told to)")->type_name("SECONDS");
  run->add_flag("--no-control", r.noControl, "Without the service that the other commands talk to");
  run->add_flag("--at-login", r.atLogin, "As the session starts it: without its window");
  run->add_flag("--json", r.json, "Print one JSON object at the end");
  run->add_flag("-v,--verbose", r.verbose, "Log to standard error");
  run->callback(
      [&arguments] { arguments.run = [&arguments] { return runRunCommand(arguments.foreground); }; });
}

void addLoginItem(CLI::App& app, Arguments& arguments) {
  CLI::App* item = app.add_subcommand("login-item", "Whether the program starts with your session");
  item->require_subcommand(1);
  for (const auto& [name, help] : {std::pair{"on", "Start it with the session"},
                                   {"off", "Don't, from the next session on"},
                                   {"status", "Print whether it does"}}) {
    CLI::App* action = item->add_subcommand(name, help);
    action->add_flag("--json", arguments.json, "Print one JSON object");
    action->callback([&arguments, word = std::string(name)] {
      arguments.run = [&arguments, word] { return runLoginItem(word, arguments.json); };
    });
  }
}

void addService(CLI::App& app, Arguments& arguments) {
  CLI::App* service = app.add_subcommand("service", "The program as a service of your session");
  service->require_subcommand(1);
  for (const auto& [name, help] :
       {std::pair{"enable", "Start it now and with the session, and anew if it fails"},
        {"disable", "End it, and don't start it any more"},
        {"status", "Print whether it starts and runs"},
        {"log", "Show what it has logged"}}) {
    CLI::App* action = service->add_subcommand(name, help);
    if (std::string_view(name) != "log") action->add_flag("--json", arguments.json, "Print one JSON object");
    action->callback([&arguments, word = std::string(name)] {
      arguments.run = [&arguments, word] { return runService(word, arguments.json); };
    });
  }
}

void addSettings(CLI::App& app, Arguments& arguments) {
  CLI::App* settings = app.add_subcommand("settings", "Read and change the user's settings");
  settings->require_subcommand(1);
  CLI::App* get = settings->add_subcommand("get", "Print one value");
  get->add_option("KEY", arguments.key)->required();
  get->callback([&arguments] { arguments.run = [&arguments] { return runSettingsGet(arguments.key); }; });
  CLI::App* set = settings->add_subcommand(
      "set", "Change a setting, at once in a program that runs; settings list names them");
  set->add_option("KEY", arguments.key)->required();
  set->add_option(kSettingValueName, arguments.value, "on or off, JSON, or else a text as it stands")
      ->required();
  set->add_flag("--force", arguments.form.isForced, "Store a key or value that is refused, as it stands");
  set->add_flag("--data", arguments.form.isData, "Store the text as data, as structured settings are");
  set->callback([&arguments] {
    arguments.run = [&arguments] { return runSettingsSet(arguments.key, arguments.value, arguments.form); };
  });
  CLI::App* reset = settings->add_subcommand("reset", "Back to the default");
  reset->add_option("KEY", arguments.key)->required();
  reset->callback([&arguments] { arguments.run = [&arguments] { return runSettingsReset(arguments.key); }; });
  CLI::App* list = settings->add_subcommand(
      "list", "Print the settings with their values, what they take and what they mean");
  list->add_flag("--json", arguments.json, "Print one JSON object");
  list->callback([&arguments] { arguments.run = [&arguments] { return runSettingsList(arguments.json); }; });
  addSettingsTransfer(*settings, arguments.run);
}

// Those of the parser, as the packages install them.
int writeManuals(const CommandTree& tree, const std::string& folder) {
  auto written = writeFileAtomically(folder + "/sonmere.1", manualPage(tree, kVersion), 0644);
  for (const CommandTree& command : tree.commands)
    if (written)
      written = writeFileAtomically(fmt::format("{}/sonmere-{}.1", folder, command.name),
                                    commandManualPage(tree, command, kVersion), 0644);
  return written ? int(kExitSuccess) : tell("man", kExitFailure, written.error().description);
}

int printManual(const CLI::App& app, const Arguments& arguments) {
  const CommandTree tree = commandTree(app);
  if (!arguments.folder.empty()) return writeManuals(tree, arguments.folder);
  if (arguments.words.empty()) {
    fmt::print("{}", manualPage(tree, kVersion));
    return kExitSuccess;
  }
  const auto named = std::ranges::find(tree.commands, arguments.words[0], &CommandTree::name);
  if (named == tree.commands.end())
    return tell("man", kExitBadInput, fmt::format("there is no command \"{}\"", arguments.words[0]));
  fmt::print("{}", commandManualPage(tree, *named, kVersion));
  return kExitSuccess;
}

void addCompletion(CLI::App& app, Arguments& arguments) {
  CLI::App* completion =
      app.add_subcommand("completion", "Print a script that completes commands in a shell");
  completion->add_option("bash|zsh|fish", arguments.shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  completion->callback([&arguments] {
    arguments.run = [&] {
      fmt::print("{}", completionScript(arguments.shell));
      return int(kExitSuccess);
    };
  });
  CLI::App* pages = app.add_subcommand("man", "Print a manual page")->group("");
  pages->add_option("COMMAND", arguments.words, "That of a command");
  pages->add_option("--all", arguments.folder, "Write all pages into a folder instead")->type_name("DIR");
  pages->callback([&app, &arguments] { arguments.run = [&] { return printManual(app, arguments); }; });
}

int fail(const std::string& text) { return tell("", kExitFailure, text); }

// The parser's own texts have line ends.
std::string oneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

// What the completion scripts ask; words may look like options.
int complete(const CLI::App& app, const std::vector<std::string>& words) {
  const CommandTree tree = commandTree(app);
  // The words behind "help" are those of a command.
  const bool isHelp = words.size() > 1 && words[0] == "help";
  const CompletionReply reply = isHelp ? completeCommands(tree, {words.begin() + 1, words.end()})
                                       : completeWords(tree, words, completionSource);
  fmt::print("{}", completionText(reply));
  return kExitSuccess;
}

// Where --help lists each command; what is in no list here stands in one of its own.
constexpr std::pair<const char*, std::array<std::string_view, 13>> kGroups[] = {
    {"The program", {"run", "demo", "status", "routes", "watch", "report", "devices", "quit"}},
    {"Apps",
     {"apps", "volume", "mute", "eq", "limit", "direct", "hide", "unhide", "pin", "unpin", "remove",
      "automatic"}},
    {"Per-app volume", {"mixer", "master", "output-eq", "boost"}},
    {"Microphone", {"mic", "input", "input-lock"}},
    {"Routing and recording",
     {"route", "output", "routing", "bus", "monitor", "record", "profile", "preset", "rule", "plugin"}},
    {"The whole system", {"system", "mix", "daw", "combine"}},
    {"Recordings and audio files", {"recordings", "session", "info", "waveform", "edit"}},
    {"Settings and help",
     {"settings", "reset", "driver", "doctor", "service", "login-item", "uninstall", "update", "usage",
      "feedback", "help", "completion"}},
};

void groupCommands(CLI::App& app) {
  for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; }))
    for (const auto& [title, names] : kGroups)
      if (std::ranges::find(names, command->get_name()) != names.end()) command->group(title);
}

// The help of a command, as behind its --help.
int showHelp(const CLI::App& app, const std::vector<std::string>& words) {
  const NamedCommand named = findCommand(commandTree(app), words);
  if (named.error) return tell("help", kExitBadInput, named.error->text);
  const CLI::App* command = &app;
  std::string above;
  for (const std::string& word : words) {
    above += (above.empty() ? "" : " ") + command->get_name();
    command = command->get_subcommand(word);
  }
  fmt::print("{}", command->help(above));
  return kExitSuccess;
}

void addDoctor(CLI::App& app, Arguments& arguments) {
  CLI::App* doctor = app.add_subcommand(
      "doctor",
      "What of this machine is right for Sonmere, what is not, and what mends it; the exit status is 3 when "
      "something could be better, 4 when something is wrong");
  doctor->add_flag("--json", arguments.json, "Print JSON");
  doctor->callback([&] { arguments.run = [&] { return runDoctor(arguments.json); }; });
}

void addHelp(CLI::App& app, Arguments& arguments) {
  CLI::App* help = app.add_subcommand("help", "Explain a command");
  help->add_option("COMMAND", arguments.words, "The command, as \"volume\" or \"record start\"");
  help->callback([&] { arguments.run = [&] { return showHelp(app, arguments.words); }; });
}

int refuse(const UsageError& error) {
  return tell(error.command, kExitBadInput,
              error.text + "; see sonmere help" + (error.command.empty() ? "" : " " + error.command));
}

// An argument that is empty was meant to be something: a variable that has no value, mostly.
std::optional<UsageError> findEmpty(const CLI::App& app, const std::string& path) {
  for (const CLI::App* command : app.get_subcommands()) {
    const std::string name = path.empty() ? command->get_name() : path + " " + command->get_name();
    for (const CLI::Option* option : command->get_options()) {
      const auto& given = option->results();
      const bool mayBeEmpty = option->get_single_name() == kSettingValueName;
      if (!mayBeEmpty && std::ranges::find(given, "") != given.end())
        return UsageError{name, option->get_name() + " is empty"};
    }
    if (auto error = findEmpty(*command, name)) return error;
  }
  return std::nullopt;
}

int parseAndRun(int argc, const char* const* argv) {
  CLI::App app("Per-app volume, routing and recording", "sonmere");
  app.footer("Without a command: run. Most commands talk to the program that runs.");
  app.set_version_flag("--version", kVersion);
  app.require_subcommand(0, 1);
  Arguments arguments;
  addRun(app, arguments);
  addRemoteCommands(app, arguments.run);
  addRoutingCommands(app, arguments.run);
  addRoutesCommands(app, arguments.run);
  addInputCommands(app, arguments.run);
  addMonitorCommands(app, arguments.run);
  addRecordCommands(app, arguments.run);
  addSystemCommands(app, arguments.run);
  addPluginCommands(app, arguments.run);
  addPresetCommands(app, arguments.run);
  addRuleCommands(app, arguments.run);
  addDemo(app, arguments);
  addRecordingsCommands(app, arguments.run);
  addEditorCommands(app, arguments.run);
  addSettings(app, arguments);
  addMaintenance(app, arguments.run);
  addCareCommands(app, arguments.run);
  addLoginItem(app, arguments);
  addService(app, arguments);
  addDriverCommands(app, arguments.run);
  addDoctor(app, arguments);
  addHelp(app, arguments);
  addCompletion(app, arguments);
  groupCommands(app);
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (!words.empty() && words[0] == "__complete") return complete(app, {words.begin() + 1, words.end()});
  tellAsJSON(std::find(words.begin(), std::ranges::find(words, "--"), "--json") !=
             std::ranges::find(words, "--"));
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    const CommandTree tree = commandTree(app);
    return refuse(findUsageError(tree, words)
                      .value_or(UsageError{findCommand(tree, words).path, oneLine(error.what())}));
  }
  if (const auto error = findEmpty(app, "")) return refuse(*error);
  if (arguments.run) return arguments.run();
  return runRunCommand({});
}

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
  // A file beyond the user's size limit is then a write that fails, like one on a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  int status = kExitFailure;
  try {
    status = parseAndRun(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
  // CLI11 flushes by itself, and what it could not write is then known by the stream's state alone.
  errno = 0;
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
  return fail(posixError(errno != 0 ? errno : EIO, "Write to standard output").description);
}

}  // namespace sonmere
