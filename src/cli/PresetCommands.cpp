#include "cli/PresetCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "audio/device/BusName.h"
#include "cli/EqualiserText.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/ScopeText.h"
#include "cli/TextTable.h"
#include "control/ControlCodec.h"
#include "control/PresetFiles.h"
#include "control/RuleCodec.h"

namespace sonmere {

namespace {

constexpr const char* kScopeHelp = "app:ID, bus:BUS, mic or output, whose equaliser it is";
constexpr const char* kFileHelp = "The preset's name, or the path of a file";

struct Arguments {
  std::string preset, scope, file;
  bool isForced = false;
  bool json = false;
};
using Given = std::shared_ptr<Arguments>;

// How the equaliser of a scope is asked for and set.
struct Place {
  std::string get, set;
  ControlJSON params;
  std::string path;  // of the equaliser in what `get` answers
};

Outcome<Place> placeOf(const std::string& scope) {
  if (scope == "output")
    return Place{"mixer", "mixer.outputEqualiser", ControlJSON::object(), "/outputEqualiser"};
  if (scope == "mic") return Place{"input", "mic.equaliser", ControlJSON::object(), "/equaliser"};
  const auto read = readScope(scope);
  if (!read) return std::unexpected(read.error());
  if (read->starts_with("bus:"))
    return Place{"bus", "bus.equaliser", {{"bus", std::stoi(read->substr(4))}}, "/equaliser"};
  if (read->starts_with("app:")) return Place{"app", "equaliser", {{"app", read->substr(4)}}, "/equaliser"};
  return std::unexpected(
      Error{"Arguments", 1, fmt::format("\"{}\" has no equaliser; use {}", scope, kScopeHelp)});
}

OutputJSON presetJSON(const Preset& preset) {
  OutputJSON object{{"name", preset.name}, {"kind", preset.kind()}};
  if (const auto* equaliser = preset.equaliser())
    object["equaliser"] = encodeControl(*equaliser);
  else
    object["apps"] = encodeRouting(*preset.routing());
  return object;
}

std::string summary(const Preset& preset) {
  if (const auto* equaliser = preset.equaliser()) return equaliserSections(*equaliser);
  std::string text;
  for (const AppProfileEntry& app : *preset.routing())
    text += (text.empty() ? "" : ", ") + app.bundleID + " on " + busWord(app.busIndex);
  return text.empty() ? "no app" : text;
}

void showPreset(const ReadPreset& read, bool json) {
  if (json) {
    OutputJSON object = presetJSON(read.preset);
    object["notes"] = read.notes;
    return printJSON(object);
  }
  fmt::print("{}: {}\n", printable(read.preset.name), printable(summary(read.preset)));
  if (const auto* equaliser = read.preset.equaliser()) fmt::print("{}", equaliserCurve(*equaliser));
}

void tellNotes(const RemoteCall& call, const std::vector<std::string>& notes) {
  for (const std::string& note : notes) call.tell(kExitSuccess, note);
}

int list(const Given& a) {
  const RemoteCall call("preset list");
  OutputJSON all = OutputJSON::array();
  TextTable table({{"preset"}, {"kind"}, {"holds"}});
  for (const std::string& name : presetNames()) {
    const auto read = openPreset(name);
    if (!read) {
      call.tell(kExitSuccess, read.error().description);
      continue;
    }
    table.add({name, read->preset.kind(), summary(read->preset)});
    OutputJSON object = presetJSON(read->preset);
    object["name"] = name;
    all.push_back(std::move(object));
  }
  if (a->json)
    printJSON({{"presets", all}});
  else
    fmt::print("{}", all.empty() ? "There are no presets.\n" : table.text());
  return kExitSuccess;
}

int show(const Given& a) {
  const RemoteCall call("preset show");
  const auto read = openPreset(a->preset);
  if (!read) return call.fail(read.error());
  if (!a->json) tellNotes(call, read->notes);
  showPreset(*read, a->json);
  return kExitSuccess;
}

int keep(const RemoteCall& call, const Given& a, const ReadPreset& read) {
  const auto saved = savePreset(read.preset, a->preset, a->isForced);
  if (!saved && saved.error().code == kPresetExists)
    return call.tell(kExitBadInput, saved.error().description + "; --force replaces it");
  if (!saved) return call.fail(saved.error());
  if (!a->json) tellNotes(call, read.notes);
  showPreset(read, a->json);
  return kExitSuccess;
}

Outcome<Preset> presentRouting(ControlClient& program, const std::string& name) {
  const auto apps = program.call("routing.apps");
  if (!apps) return std::unexpected(apps.error());
  auto routing = decodeRouting(apps->value("apps", ControlJSON::array()));
  if (!routing) return std::unexpected(routing.error());
  return Preset{name, std::move(*routing)};
}

Outcome<Preset> presentEqualiser(ControlClient& program, const Place& place, const std::string& name) {
  const auto state = program.call(place.get, place.params);
  if (!state) return std::unexpected(state.error());
  const ControlJSON::json_pointer path(place.path);
  const auto equaliser = decodeEqualiser(state->contains(path) ? state->at(path) : ControlJSON());
  if (!equaliser) return std::unexpected(equaliser.error());
  return Preset{name, *equaliser};
}

int save(const Given& a) {
  const RemoteCall call("preset save");
  const std::string name = presetFile(a->preset).stem().string();
  const bool isRouting = a->scope == "routing";
  const auto place = isRouting ? Outcome<Place>(Place{}) : placeOf(a->scope);
  if (!place) return call.fail(place.error());
  return call.with([&](ControlClient& program) {
    auto preset = isRouting ? presentRouting(program, name) : presentEqualiser(program, *place, name);
    return preset ? keep(call, a, {std::move(*preset), {}}) : call.fail(preset.error(), place->params);
  });
}

int import(const Given& a) {
  const RemoteCall call("preset import");
  auto read = openPreset(a->file.find('/') == std::string::npos ? "./" + a->file : a->file);
  if (!read) return call.fail(read.error());
  if (a->preset.empty()) a->preset = read->preset.name;
  read->preset.name = presetFile(a->preset).stem().string();
  return keep(call, a, *read);
}

int loadRouting(const RemoteCall& call, const Given& a, const ReadPreset& read) {
  return call.with([&](ControlClient& program) {
    const ControlJSON profile{{"name", read.preset.name}, {"apps", encodeRouting(*read.preset.routing())}};
    for (const auto& [method, params] :
         {std::pair{"profile.put", profile}, {"profile.apply", ControlJSON{{"name", read.preset.name}}}})
      if (const auto done = program.call(method, params); !done) return call.fail(done.error());
    showPreset(read, a->json);
    return int(kExitSuccess);
  });
}

int load(const Given& a) {
  const RemoteCall call("preset load");
  const auto read = openPreset(a->preset);
  if (!read) return call.fail(read.error());
  if (read->preset.routing() && a->scope.empty()) return loadRouting(call, a, *read);
  if (read->preset.routing())
    return call.tell(kExitBadInput, "a routing is of all apps; leave out " + a->scope);
  if (a->scope.empty()) return call.tell(kExitBadInput, std::string("say where: ") + kScopeHelp);
  const auto place = placeOf(a->scope);
  if (!place) return call.fail(place.error());
  ControlJSON params = place->params;
  params["equaliser"] = encodeControl(*read->preset.equaliser());
  if (!a->json) tellNotes(call, read->notes);
  return call.ask(place->set, params, [&](const ControlJSON&) { showPreset(*read, a->json); });
}

}  // namespace

void addPresetCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* group = app.add_subcommand("preset", "Equalisers and routings as files to share");
  group->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, int (*work)(const Given&)) {
    CLI::App* command = group->add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print one JSON object");
    command->callback([a, &run, work] { run = [a, work] { return work(a); }; });
    return command;
  };
  const auto addForce = [&](CLI::App* command) {
    command->add_flag("--force", a->isForced, "Replace one that exists");
  };
  add("list", "Your presets", list);
  add("show", "What is in a preset, or in the file of a parametric equaliser", show)
      ->add_option("PRESET|FILE", a->preset, kFileHelp)
      ->required();
  CLI::App* saving = add("save", "Keep an equaliser, or the routing of this moment", save);
  saving->add_option("SCOPE|output|routing", a->scope, std::string(kScopeHelp) + "; or routing")->required();
  saving->add_option("PRESET|FILE", a->preset, kFileHelp)->required();
  addForce(saving);
  CLI::App* loading = add("load", "Use one; a routing becomes a profile too", load);
  loading->add_option("PRESET|FILE", a->preset, kFileHelp)->required();
  loading->add_option("SCOPE|output", a->scope, std::string(kScopeHelp) + "; none for a routing");
  CLI::App* importing = add("import",
                            "Keep a file that somebody gave you, or the text of a parametric equaliser, as "
                            "far as one high-pass, one "
                            "bell and one low-pass can hold it",
                            import);
  importing->add_option("FILE", a->file, "The file")->required();
  importing->add_option("NAME", a->preset, "What it is called here; by default as it is called there");
  addForce(importing);
}

}  // namespace sonmere
