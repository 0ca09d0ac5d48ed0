#include "cli/PluginCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/JSONOutput.h"
#include "cli/PluginPrinter.h"
#include "cli/RemoteCall.h"
#include "cli/ScopeText.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string scope, plugin, value, second;
  std::optional<int> position;
  std::vector<std::string> words;
  bool json = false;
};

using Print = std::string (*)(const ControlJSON&);

constexpr const char* kPluginHelp = "The plug-in: its number in the chain, or a part of its name";

std::string fullPath(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::absolute(path, ignored).string();
}

// Builds one command after the other; what they are given is shared, for one is parsed in a run.
class PluginBuilder {
 public:
  PluginBuilder(CLI::App& app, std::function<int()>& run)
      : group_(app.add_subcommand("plugin", "Plug-ins (LV2) on apps, buses and the microphone")), run_(run) {
    group_->require_subcommand(1);
  }

  void addAll();

 private:
  CLI::App* add(const char* name, const char* help, std::function<int()> run) {
    CLI::App* command = group_->add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print JSON");
    command->callback([&target = run_, run = std::move(run)] { target = run; });
    return command;
  }
  CLI::App* addOnScope(const char* name, const char* help, std::function<int()> run) {
    CLI::App* command = add(name, help, std::move(run));
    command->add_option("SCOPE", a->scope, kScopeForm)->required();
    return command;
  }
  CLI::App* addOnPlugin(const char* name, const char* help, std::function<int()> run) {
    CLI::App* command = addOnScope(name, help, std::move(run));
    command->add_option("PLUGIN", a->plugin, kPluginHelp)->required();
    return command;
  }
  // Asks for a change of the chain and shows it. `fill` adds what the method takes beside the scope.
  std::function<int()> act(const char* name,
                           std::function<Outcome<void>(ControlJSON&, const Arguments&)> fill) {
    return [a = a, name, fill = std::move(fill)] {
      const RemoteCall call(std::string("plugin ") + name);
      const auto scope = readScope(a->scope);
      if (!scope) return call.fail(scope.error());
      ControlJSON params{{"scope", *scope}};
      if (const auto filled = fill(params, *a); !filled) return call.fail(filled.error());
      return ask(call, *a, std::string("plugin.") + name, params, chainText);
    };
  }
  static int ask(const RemoteCall& call, const Arguments& a, const std::string& method,
                 const ControlJSON& params, Print print) {
    return call.ask(method, params, [&](const ControlJSON& result) {
      if (!a.json) return fmt::print("{}", print(result));
      printJSON(result.is_array() ? ControlJSON{{"plugins", result}} : result);
    });
  }

  void addViews();
  void addChanges();
  void addFiles();

  CLI::App* const group_;
  std::function<int()>& run_;
  const std::shared_ptr<Arguments> a = std::make_shared<Arguments>();
};

void PluginBuilder::addViews() {
  add("list", "The plug-ins of this system", [a = a] {
    return ask(RemoteCall("plugin list"), *a, "plugins.available", ControlJSON::object(), offersText);
  });
  add("search", "The plug-ins that fit every word",
      [a = a] {
        std::string search;
        for (const std::string& word : a->words) search += (search.empty() ? "" : " ") + word;
        return ask(RemoteCall("plugin search"), *a, "plugins.available", {{"search", search}}, offersText);
      })
      ->add_option("TEXT", a->words, "Words of a name, a maker or a kind")
      ->required()
      ->expected(-1);
  add("info", "A plug-in with its controls and presets",
      [a = a] {
        return ask(RemoteCall("plugin info"), *a, "plugin.info", {{"plugin", a->plugin}}, pluginInfoText);
      })
      ->add_option("URI", a->plugin, "The plug-in's URI")
      ->required();
  add("chain", "The chain of a scope, or all chains", [a = a] {
    const RemoteCall call("plugin chain");
    if (a->scope.empty()) return ask(call, *a, "plugins", ControlJSON::object(), chainsText);
    const auto scope = readScope(a->scope);
    return scope ? ask(call, *a, "plugin.chain", {{"scope", *scope}}, chainText) : call.fail(scope.error());
  })->add_option("SCOPE", a->scope, kScopeForm);
}

void PluginBuilder::addChanges() {
  const auto fillPlugin = [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
    params["plugin"] = given.plugin;
    return {};
  };
  CLI::App* command = addOnScope("add", "Put a plug-in into a chain, after it was tried",
                                 act("add", [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                                   params["plugin"] = given.plugin;
                                   if (given.position) params["position"] = *given.position;
                                   return {};
                                 }));
  command->add_option("URI", a->plugin, "The plug-in's URI")->required();
  command->add_option("--at", a->position, "Its place in the chain, 1 for the first; else the last")
      ->type_name("N");
  addOnPlugin("remove", "Take a plug-in out of a chain", act("remove", fillPlugin));
  addOnPlugin("move", "Move a plug-in within its chain",
              act("move",
                  [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                    params["plugin"] = given.plugin;
                    params["position"] = given.position.value_or(0);
                    return {};
                  }))
      ->add_option("PLACE", a->position, "Its new place, 1 for the first")
      ->required();
  addOnPlugin("bypass", "Bypass a plug-in, or not",
              act("bypass",
                  [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                    const auto on = readSwitch("bypass", given.value.empty() ? "on" : given.value);
                    if (!on) return std::unexpected(on.error());
                    params["plugin"] = given.plugin;
                    params["bypassed"] = *on;
                    return {};
                  }))
      ->add_option("on|off", a->value, "on (default) or off");
  command = addOnPlugin("set", "Set a control of a plug-in",
                        act("set", [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                          params["plugin"] = given.plugin;
                          params["control"] = given.value;
                          params["value"] = given.second;
                          return {};
                        }));
  command->add_option("CONTROL", a->value, "The control's symbol or name")->required();
  command->add_option("SETTING", a->second, "A number, the name of a value, on or off")->required();
  addOnPlugin("preset", "Give a plug-in the values of a preset",
              act("preset",
                  [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                    params["plugin"] = given.plugin;
                    params["preset"] = given.value;
                    return {};
                  }))
      ->add_option("PRESET", a->value, "The preset's name or URI")
      ->required();
}

void PluginBuilder::addFiles() {
  addOnScope("trust", "Run a chain inside the program: no added delay, and no protection",
             act("trust",
                 [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
                   const auto on = readSwitch("trust", given.value.empty() ? "on" : given.value);
                   if (!on) return std::unexpected(on.error());
                   params["trusted"] = *on;
                   return {};
                 }))
      ->add_option("on|off", a->value, "on (default) or off");
  const auto fillPath = [](ControlJSON& params, const Arguments& given) -> Outcome<void> {
    params["path"] = fullPath(given.value);
    return {};
  };
  addOnScope("save", "Save a chain with all its values as a file", act("save", fillPath))
      ->add_option("FILE", a->value, "The file")
      ->required();
  addOnScope("load", "Put a file in the place of a chain", act("load", fillPath))
      ->add_option("FILE", a->value, "The file")
      ->required();
}

void PluginBuilder::addAll() {
  addViews();
  addChanges();
  addFiles();
}

}  // namespace

void addPluginCommands(CLI::App& app, std::function<int()>& run) { PluginBuilder(app, run).addAll(); }

}  // namespace sonmere
