#include "cli/RemoteCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/EqualiserText.h"
#include "cli/ExitStatus.h"
#include "cli/GivenTrackNames.h"
#include "cli/JSONOutput.h"
#include "cli/OutputText.h"
#include "cli/RemoteCall.h"
#include "cli/RemotePrinter.h"
#include "cli/ReportArchive.h"
#include "cli/Text.h"
#include "cli/VolumeParams.h"
#include "cli/WatchCommand.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

constexpr const char* kAppHelp = "The app: its identifier or name, or any part that fits no other";

// What the commands are given; one command is parsed in a run.
struct RemoteArguments {
  std::string app, name;
  std::optional<std::string> value;
  bool json = false;
  bool idsOnly = false;
  bool removedOnly = false;
  bool isHistory = false;
  std::optional<std::string> archive;
  bool isFull = false;
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
    command
        ->add_option_function<std::string>(
            name, [this](const std::string& text) { a->value = text; }, help)
        ->required(isRequired);
  }
  int show(const std::string& command, const std::string& method, const ControlJSON& params,
           const char* member, Print print) const;
  // A change of the app that the arguments name.
  int changeApp(const char* command, const char* method, ControlJSON params) const;
  int changeMixer(const char* command, const char* method, const ControlJSON& params) const;
  int showApp(const char* command, Print print) const;

  void addViews();
  void addVolumes();
  void addEffects();
  void addMixer();
  void addRoutes();
  void addRows();
  void addProfiles();

  int status() const;
  int volume() const;
  int master() const;
  int mute() const;
  int equaliser() const;
  int outputEqualiser() const;
  int limit() const;
  int route() const;
  int output() const;
  int quit() const;

  CLI::App& app_;
  std::function<int()>& run_;
  const Arguments a = std::make_shared<RemoteArguments>();
};

ControlJSON equaliserJSON(const AppEQSettings& s) {
  return {{"enabled", s.isEnabled}, {"highPassHz", s.highPassFreq},
          {"bellHz", s.paraFreq},   {"bellDb", s.paraGain},
          {"bellQ", s.paraQ},       {"lowPassHz", s.lowPassFreq}};
}

// The sections, or null for "off".
Outcome<ControlJSON> readEqualiserParams(const std::string& argument, const std::string& text) {
  if (text == "off") return ControlJSON(nullptr);
  const auto settings = readEqualiser(argument, text);
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
    if (!a->json) return fmt::print("{}", print(value));
    // A list is a member of an object, which has room for more.
    printJSON(value.is_array() ? ControlJSON{{method.substr(method.rfind('.') + 1), value}} : value);
  });
}

int RemoteBuilder::changeApp(const char* command, const char* method, ControlJSON params) const {
  params["app"] = a->app;
  return show(command, method, params, "app", appText);
}

int RemoteBuilder::showApp(const char* command, Print print) const {
  return show(command, "app", {{"app", a->app}}, nullptr, print);
}

int RemoteBuilder::changeMixer(const char* command, const char* method, const ControlJSON& params) const {
  return show(command, method, params, "mixer", mixerText);
}

void RemoteBuilder::addViews() {
  add(app_, "status", "The program that runs, at a glance", [this] { return status(); });
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
        if (a->archive) return archiveReport(*a->archive, a->isFull, a->json);
        return RemoteCall("report").ask(
            a->isHistory ? "report.history" : "report", {}, [this](const ControlJSON& result) {
              a->json ? printJSON(result)
                      : fmt::print("{}\n", printableLines(result.value("text", std::string())));
            });
      });
  CLI::Option* archive = report->add_option_function<std::string>(
      "--archive", [this](const std::string& file) { a->archive = file; },
      "Write all that helps to find a fault into a tar archive, with or without a running program");
  archive->type_name("FILE");
  report->add_flag("--full", a->isFull, "With names of user and machine, paths and titles")->needs(archive);
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

// "version" is that of the form.
int RemoteBuilder::status() const {
  return RemoteCall("status").ask("status", {}, [this](const ControlJSON& result) {
    if (!a->json) return fmt::print("{}", statusText(result));
    ControlJSON status{{"programVersion", result.value("version", std::string())}};
    status.update(result);
    status.erase("version");
    printJSON(status);
  });
}

void RemoteBuilder::addVolumes() {
  CLI::App* volume =
      add(app_, "volume", "Show or set the volume of an app", [this] { return this->volume(); });
  addApp(volume);
  addValue(volume, "VOLUME", kVolumeForm, false);
  CLI::App* mute = add(app_, "mute", "Mute an app", [this] { return this->mute(); });
  addApp(mute);
  addValue(mute, "on|off|toggle", "on (default), off or toggle", false);
}

int RemoteBuilder::volume() const {
  if (!a->value) return showApp("volume", appText);
  const auto params = readVolumeParams(*a->value);
  return params ? changeApp("volume", "volume", *params) : RemoteCall("volume").fail(params.error());
}

int RemoteBuilder::mute() const {
  if (a->value == "toggle") return changeApp("mute", "mute", {{"toggle", true}});
  const auto on = readSwitch("mute", a->value.value_or("on"), "on, off or toggle");
  return on ? changeApp("mute", "mute", {{"muted", *on}}) : RemoteCall("mute").fail(on.error());
}

void RemoteBuilder::addEffects() {
  CLI::App* eq = add(app_, "eq", "Show or set the equaliser of an app", [this] { return equaliser(); });
  addApp(eq);
  addValue(eq, "SECTIONS|off", "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off", false);
  CLI::App* limiter = add(app_, "limit", "Show or set the limiter of an app", [this] { return limit(); });
  addApp(limiter);
  addValue(limiter, "DB|off", "The ceiling, -12 to 0 dB, or off", false);
  CLI::App* output = add(app_, "output-eq", "Show or set the equaliser of the per-app volume's output",
                         [this] { return outputEqualiser(); });
  addValue(output, "SECTIONS|off", "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off", false);
}

int RemoteBuilder::equaliser() const {
  if (!a->value) return showApp("eq", equaliserText);
  const auto sections = readEqualiserParams("SECTIONS", *a->value);
  return sections ? changeApp("eq", "equaliser", {{"equaliser", *sections}})
                  : RemoteCall("eq").fail(sections.error());
}

int RemoteBuilder::outputEqualiser() const {
  if (!a->value) return show("output-eq", "mixer", {}, nullptr, outputEqualiserText);
  const auto sections = readEqualiserParams("SECTIONS", *a->value);
  return sections ? changeMixer("output-eq", "mixer.outputEqualiser", {{"equaliser", *sections}})
                  : RemoteCall("output-eq").fail(sections.error());
}

int RemoteBuilder::limit() const {
  if (!a->value) return showApp("limit", limiterText);
  if (a->value == "off") return changeApp("limit", "limiter", {{"ceilingDb", nullptr}});
  const auto ceiling = readCeiling("DB", *a->value);
  return ceiling ? changeApp("limit", "limiter", {{"ceilingDb", *ceiling}})
                 : RemoteCall("limit").fail(ceiling.error());
}

void RemoteBuilder::addMixer() {
  CLI::App* main =
      add(app_, "master", "Show or set the master volume of the per-app volume", [this] { return master(); });
  addValue(main, "VOLUME", kVolumeForm, false);
  const auto addSwitch = [this](const char* name, const char* help, const char* method, const char* param) {
    CLI::App* command = add(app_, name, help, [this, name, method, param] {
      if (!a->value) return show(name, "mixer", {}, nullptr, mixerText);
      const auto on = readSwitch(name, *a->value);
      return on ? changeMixer(name, method, {{param, *on}}) : RemoteCall(name).fail(on.error());
    });
    addValue(command, "on|off", "on or off; without it the state is shown", false);
  };
  addSwitch("mixer", "Turn the per-app volume on or off", "mixer.enable", "enabled");
  addSwitch("boost", "Allow volumes above 100 %, or not", "mixer.boost", "allowed");
}

int RemoteBuilder::master() const {
  if (!a->value) return show("master", "mixer", {}, nullptr, mixerText);
  const auto params = readVolumeParams(*a->value);
  return params ? changeMixer("master", "mixer.master", *params) : RemoteCall("master").fail(params.error());
}

void RemoteBuilder::addRoutes() {
  CLI::App* command =
      add(app_, "route", "Show or change the bus that an app is routed to", [this] { return route(); });
  addApp(command);
  addValue(command, "BUS|off", kBusForm, false);
  CLI::App* device = add(app_, "output", "Play an app on a device of its own, or on its bus again",
                         [this] { return output(); });
  addApp(device);
  addValue(device, "OUTPUT|bus",
           "The device: its identifier or name, or any part that fits no other, with :3/4 behind it on these "
           "channels; or bus",
           false);
  CLI::App* direct = add(app_, "direct", "Leave the sound of an app untouched, or not", [this] {
    if (!a->value) return showApp("direct", appText);
    const auto on = readSwitch("direct", *a->value);
    return on ? changeApp("direct", "direct", {{"direct", *on}}) : RemoteCall("direct").fail(on.error());
  });
  addApp(direct);
  addValue(direct, "on|off", "on or off; without it the state is shown", false);
}

void RemoteBuilder::addRows() {
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
  if (!a->value) return showApp("route", appText);
  const auto bus = readBusOrOff("BUS", *a->value, givenTrackNames);
  if (!bus) return RemoteCall("route").fail(bus.error());
  return changeApp("route", "route", {{"bus", *bus ? ControlJSON(**bus) : ControlJSON(nullptr)}});
}

int RemoteBuilder::output() const {
  if (!a->value) return showApp("output", appText);
  if (a->value == "bus") return changeApp("output", "output", ControlJSON::object());
  const auto [wanted, left, right] = readOutput(*a->value);
  return changeApp("output", "output", {{"device", wanted}, {"left", left}, {"right", right}});
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
  addRows();
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
