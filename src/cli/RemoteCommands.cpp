#include "cli/RemoteCommands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/ArgumentText.h"
#include "cli/EqualiserText.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RemotePrinter.h"
#include "cli/Text.h"
#include "cli/WatchCommand.h"

namespace sonmere {

namespace {

constexpr const char* kAppHelp = "The app: its identifier or name, or any part that fits no other";
constexpr const char* kBusHelp = "0 the bridge, 2 to 9 Track 1 to 8";

// What the commands are given; one command is parsed in a run.
struct RemoteArguments {
  std::string app, value, name;
  std::vector<std::string> buses;
  bool json = false;
  bool idsOnly = false;
  bool removedOnly = false;
  bool isHistory = false;
  int count = 0;
};

using Arguments = std::shared_ptr<RemoteArguments>;
using Print = std::string (*)(const ControlJSON&);

// Builds one command after the other.
class RemoteBuilder {
 public:
  RemoteBuilder(CLI::App& app, std::function<int()>& run) : app_(app), run_(run) {}

  void addAll();

 private:
  // A subcommand with its --json; `run` is what it does.
  CLI::App* add(CLI::App& parent, const std::string& name, const char* help, std::function<int()> run);
  void addApp(CLI::App* command) { command->add_option("ID", a->app, kAppHelp)->required(); }
  void addValue(CLI::App* command, const char* name, const char* help, bool isRequired) {
    command->add_option(name, a->value, help)->required(isRequired);
  }
  int show(const std::string& command, const std::string& method, const ControlJSON& params,
           const char* member, Print print) const;
  // A change of the app that the arguments name.
  int changeApp(const char* command, const char* method, ControlJSON params) const;
  int changeMixer(const char* command, const char* method, const ControlJSON& params) const;

  void addViews();
  void addVolumes();
  void addEffects();
  void addMixer();
  void addRoutes();
  void addRecord();
  void addProfiles();

  int volume() const;
  int master() const;
  int mute() const;
  int equaliser() const;
  int outputEqualiser() const;
  int limit() const;
  int route() const;
  Outcome<std::vector<int>> buses() const;
  int record(bool isStart) const;
  int recordings() const;
  int quit() const;

  CLI::App& app_;
  std::function<int()>& run_;
  const Arguments a = std::make_shared<RemoteArguments>();
};

// "0.5", "50%", "+5%", "-0.1": as the service takes it.
Outcome<ControlJSON> readVolumeParams(const std::string& argument, const std::string& text) {
  const bool isStep = text.starts_with('+') || text.starts_with('-');
  const bool isPercent = text.ends_with('%');
  std::string_view digits = text;
  if (text.starts_with('+')) digits.remove_prefix(1);
  if (isPercent) digits.remove_suffix(1);
  const auto number = readNumber(digits);
  if (!number)
    return badArgument(fmt::format(
        "{}: \"{}\" is not a volume; use a gain as 0.5, a percentage as 50%, or a step as +5% or -5%",
        argument, text));
  return ControlJSON{{isStep ? "step" : "volume", isPercent ? *number / 100 : *number}};
}

Outcome<bool> readSwitch(const std::string& argument, const std::string& text) {
  if (text == "on" || text == "off") return text == "on";
  return badArgument(fmt::format("{}: \"{}\" is neither on nor off", argument, text));
}

ControlJSON equaliserJSON(const AppEQSettings& s) {
  return {{"enabled", s.isEnabled}, {"highPassHz", s.highPassFreq},
          {"bellHz", s.paraFreq},   {"bellDb", s.paraGain},
          {"bellQ", s.paraQ},       {"lowPassHz", s.lowPassFreq}};
}

// The sections, or null for "off".
Outcome<ControlJSON> readEqualiserParams(const std::string& argument, const std::string& text) {
  if (text == "off") return ControlJSON(nullptr);
  const auto settings = readEqualiser(argument, text, RangeRule::pass);
  if (!settings) return std::unexpected(settings.error());
  return equaliserJSON(*settings);
}

CLI::App* RemoteBuilder::add(CLI::App& parent, const std::string& name, const char* help,
                             std::function<int()> run) {
  CLI::App* command = parent.add_subcommand(name, help);
  command->add_flag("--json", a->json, "Print JSON");
  command->callback([this, run = std::move(run)] { run_ = run; });
  return command;
}

int RemoteBuilder::show(const std::string& command, const std::string& method, const ControlJSON& params,
                        const char* member, Print print) const {
  return RemoteCall(command).ask(method, params, [&](const ControlJSON& result) {
    const ControlJSON& value = member ? result.at(member) : result;
    a->json ? printJSON(value) : fmt::print("{}", print(value));
  });
}

int RemoteBuilder::changeApp(const char* command, const char* method, ControlJSON params) const {
  params["app"] = a->app;
  return show(command, method, params, "app", appText);
}

int RemoteBuilder::changeMixer(const char* command, const char* method, const ControlJSON& params) const {
  return show(command, method, params, "mixer", mixerText);
}

void RemoteBuilder::addViews() {
  add(app_, "status", "The program that runs, at a glance",
      [this] { return show("status", "status", {}, nullptr, statusText); });
  CLI::App* apps = add(app_, "apps", "The apps, their volume, route and delay", [this] {
    if (a->removedOnly) return show("apps", "apps.removed", {}, nullptr, linesText);
    if (!a->idsOnly) return show("apps", "apps", {}, nullptr, appsText);
    return show("apps", "apps", {}, nullptr, [](const ControlJSON& all) {
      std::string out;
      for (const ControlJSON& each : all) out += printable(each.value("id", std::string())) + "\n";
      return out;
    });
  });
  CLI::Option* ids = apps->add_flag("--ids", a->idsOnly, "Print the identifiers only");
  apps->add_flag("--removed", a->removedOnly, "Print the apps that were taken off the list")->excludes(ids);
  add(app_, "devices", "The devices of the audio server",
      [this] { return show("devices", "devices", {}, nullptr, devicesText); });
  CLI::App* report =
      add(app_, "report", "The diagnostic report: engines, and the delay of every internal buffer", [this] {
        return RemoteCall("report").ask(
            a->isHistory ? "report.history" : "report", {}, [this](const ControlJSON& result) {
              a->json ? printJSON(result)
                      : fmt::print("{}\n", printableLines(result.value("text", std::string())));
            });
      });
  report->add_flag("--history", a->isHistory, "Print the delays of the past instead, a JSON object a line");
  CLI::App* levels =
      add(app_, "watch", "The apps with their levels, whenever something changes, until Ctrl-C",
          [this] { return runWatchCommand(a->json, a->count); });
  levels->add_option("--count", a->count, "End after so many updates")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000'000));
  add(app_, "quit", "End the program that runs, with its recordings complete, and wait until it has",
      [this] { return quit(); });
}

void RemoteBuilder::addVolumes() {
  CLI::App* volume =
      add(app_, "volume", "Show or set the volume of an app", [this] { return this->volume(); });
  addApp(volume);
  addValue(volume, "VOLUME", "A gain as 0.5, a percentage as 50%, or a step as +5% or -5%", false);
  CLI::App* mute = add(app_, "mute", "Mute an app", [this] { return this->mute(); });
  addApp(mute);
  addValue(mute, "on|off|toggle", "on (default), off or toggle", false);
}

int RemoteBuilder::volume() const {
  const RemoteCall call("volume");
  if (!a->value.empty()) {
    const auto params = readVolumeParams("VOLUME", a->value);
    return params ? changeApp("volume", "volume", *params) : call.fail(params.error());
  }
  return show("volume", "app", {{"app", a->app}}, nullptr, appText);
}

int RemoteBuilder::mute() const {
  if (a->value == "toggle") return changeApp("mute", "mute", {{"toggle", true}});
  const auto on = readSwitch("SWITCH", a->value.empty() ? "on" : a->value);
  return on ? changeApp("mute", "mute", {{"muted", *on}}) : RemoteCall("mute").fail(on.error());
}

void RemoteBuilder::addEffects() {
  CLI::App* eq = add(app_, "eq", "Set the equaliser of an app", [this] { return equaliser(); });
  addApp(eq);
  addValue(eq, "SECTIONS|off", "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off", true);
  CLI::App* limiter = add(app_, "limit", "Set the limiter of an app", [this] { return limit(); });
  addApp(limiter);
  addValue(limiter, "DB|off", "The ceiling, -12 to 0 dB, or off", true);
  CLI::App* output = add(app_, "output-eq", "Set the equaliser of the per-app volume's output",
                         [this] { return outputEqualiser(); });
  addValue(output, "SECTIONS|off", "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off", true);
}

int RemoteBuilder::equaliser() const {
  const auto sections = readEqualiserParams("SECTIONS", a->value);
  return sections ? changeApp("eq", "equaliser", {{"equaliser", *sections}})
                  : RemoteCall("eq").fail(sections.error());
}

int RemoteBuilder::outputEqualiser() const {
  const auto sections = readEqualiserParams("SECTIONS", a->value);
  return sections ? changeMixer("output-eq", "mixer.outputEqualiser", {{"equaliser", *sections}})
                  : RemoteCall("output-eq").fail(sections.error());
}

int RemoteBuilder::limit() const {
  if (a->value == "off") return changeApp("limit", "limiter", {{"ceilingDb", nullptr}});
  const auto ceiling = readNumber(a->value);
  if (ceiling) return changeApp("limit", "limiter", {{"ceilingDb", *ceiling}});
  return RemoteCall("limit").tell(
      kExitBadInput, fmt::format("DB: \"{}\" is not a ceiling; use -12 to 0 dB, or off", a->value));
}

void RemoteBuilder::addMixer() {
  CLI::App* main =
      add(app_, "master", "Show or set the master volume of the per-app volume", [this] { return master(); });
  addValue(main, "VOLUME", "A gain as 0.5, a percentage as 50%, or a step as +5% or -5%", false);
  const auto addSwitch = [this](const char* name, const char* help, const char* method, const char* param) {
    CLI::App* command = add(app_, name, help, [this, name, method, param] {
      const auto on = readSwitch("SWITCH", a->value);
      return on ? changeMixer(name, method, {{param, *on}}) : RemoteCall(name).fail(on.error());
    });
    addValue(command, "on|off", "on or off", true);
  };
  addSwitch("mixer", "Turn the per-app volume on or off", "mixer.enable", "enabled");
  addSwitch("boost", "Allow volumes above 100 %, or not", "mixer.boost", "allowed");
}

int RemoteBuilder::master() const {
  if (a->value.empty()) return show("master", "mixer", {}, nullptr, mixerText);
  const auto params = readVolumeParams("VOLUME", a->value);
  return params ? changeMixer("master", "mixer.master", *params) : RemoteCall("master").fail(params.error());
}

void RemoteBuilder::addRoutes() {
  CLI::App* command = add(app_, "route", "Route an app into a bus", [this] { return route(); });
  addApp(command);
  addValue(command, "BUS|off", "0 the bridge, 2 to 9 Track 1 to 8, off", true);
  CLI::App* direct = add(app_, "direct", "Leave the sound of an app untouched, or not", [this] {
    const auto on = readSwitch("SWITCH", a->value);
    return on ? changeApp("direct", "direct", {{"direct", *on}}) : RemoteCall("direct").fail(on.error());
  });
  addApp(direct);
  addValue(direct, "on|off", "on or off", true);
  for (const auto& [name, help] : {std::pair{"hide", "Hide an app: it plays untouched"},
                                   {"unhide", "Show an app that was hidden or removed"},
                                   {"pin", "Keep an app in the list while it does not play"},
                                   {"unpin", "Let an app leave the list when it does not play"},
                                   {"remove", "Take an app off the list"},
                                   {"automatic", "Let the row of calls show and hide itself again"}})
    addApp(add(app_, name, help,
               [this, command = name] { return changeApp(command, command, ControlJSON::object()); }));
}

int RemoteBuilder::route() const {
  const auto bus = readBus("BUS", a->value);
  if (!bus) return RemoteCall("route").fail(bus.error());
  return changeApp("route", "route", {{"bus", *bus ? ControlJSON(**bus) : ControlJSON(nullptr)}});
}

void RemoteBuilder::addRecord() {
  CLI::App* group = app_.add_subcommand("record", "Record buses");
  group->require_subcommand(1);
  const auto addBuses = [this](CLI::App* command) {
    command->add_option("BUS", a->buses, kBusHelp)->required()->expected(-1);
  };
  addBuses(add(*group, "start", "Record buses into new files, which are one session",
               [this] { return record(true); }));
  addBuses(add(*group, "stop", "Stop the recording of buses and wait for their files",
               [this] { return record(false); }));
  add(*group, "list", "The recordings that run",
      [this] { return show("record list", "recordings", {}, nullptr, recordingsText); });
  add(*group, "health", "What went wrong with recordings in this run",
      [this] { return show("record health", "record.health", {}, nullptr, recordingHealthText); });
}

Outcome<std::vector<int>> RemoteBuilder::buses() const {
  std::vector<int> all;
  for (const std::string& text : a->buses) {
    const auto bus = readBus("BUS", text);
    if (!bus) return std::unexpected(bus.error());
    if (!*bus) return badArgument(fmt::format("BUS: name one; {}", kBusHelp));
    all.push_back(**bus);
  }
  return all;
}

int RemoteBuilder::record(bool isStart) const {
  const RemoteCall call(isStart ? "record start" : "record stop");
  const auto all = buses();
  if (!all) return call.fail(all.error());
  const auto print = [this](const ControlJSON& result) {
    if (a->json) return printJSON(result);
    for (const ControlJSON& each : result.is_array() ? result : ControlJSON::array({result}))
      fmt::print("{}\n", printable(each.value("path", std::string())));
  };
  if (isStart && all->size() > 1) return call.ask("record.start", {{"buses", *all}}, print);
  int status = kExitSuccess;
  for (const int bus : *all)
    status = std::max(status, call.ask(isStart ? "record.start" : "record.stop", {{"bus", bus}}, print));
  return status;
}

void RemoteBuilder::addProfiles() {
  CLI::App* group = app_.add_subcommand("profile", "Saved routings");
  group->require_subcommand(1);
  for (const auto& [name, help] : {std::pair{"save", "Save the present routing under a name"},
                                   {"apply", "Route as a profile says"},
                                   {"delete", "Delete a profile"}}) {
    CLI::App* command = add(*group, name, help, [this, verb = std::string(name)] {
      return show("profile " + verb, "profile." + verb, {{"name", a->name}}, nullptr,
                  [](const ControlJSON& profile) { return profilesText(ControlJSON::array({profile})); });
    });
    const bool isNew = std::string_view(name) == "save";
    command->add_option(isNew ? "NAME" : "PROFILE", a->name, "The profile's name")->required();
  }
  add(*group, "list", "The profiles and their apps",
      [this] { return show("profile list", "profiles", {}, nullptr, profilesText); });
}

int RemoteBuilder::quit() const {
  constexpr int kLongestEnd = 20'000;  // ms
  const RemoteCall call("quit");
  return call.with([&](ControlClient& client) {
    const auto result = client.call("quit");
    // It may have ended before its answer was read.
    if (!result && result.error().code != ControlClient::kLost) return call.fail(result.error());
    if (!client.waitForEnd(kLongestEnd))
      return call.tell(kExitFailure, "Sonmere was told to end, but has not yet");
    if (a->json) printJSON(result.value_or(ControlJSON::object()));
    return int(kExitSuccess);
  });
}

void RemoteBuilder::addAll() {
  addViews();
  addVolumes();
  addEffects();
  addMixer();
  addRoutes();
  addRecord();
  addProfiles();
}

}  // namespace

void addRemoteCommands(CLI::App& app, std::function<int()>& run) {
  const auto builder = std::make_shared<RemoteBuilder>(app, run);
  builder->addAll();
  // Its commands' callbacks refer to it for as long as the parser lives.
  app.final_callback([builder] {});
}

}  // namespace sonmere
