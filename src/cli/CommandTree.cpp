#include "cli/CommandTree.h"

#include <CLI/CLI.hpp>

namespace sonmere {

namespace {

CommandTree::Option describe(const CLI::Option& option) {
  CommandTree::Option result;
  for (const std::string& name : option.get_snames()) result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) result.names.push_back("--" + name);
  result.isPositional = result.names.empty();
  if (result.isPositional) result.names.push_back(option.get_single_name());
  if (option.get_expected_max() > 0)
    result.value = result.isPositional ? result.names.front() : option.get_type_name();
  result.isValueOptional = option.get_expected_min() == 0;
  result.isRepeated = option.get_expected_max() > 1;
  result.help = option.get_description();
  result.isRequired = option.get_required();
  return result;
}

}  // namespace

CommandTree commandTree(const CLI::App& app) {
  CommandTree tree{app.get_name(), app.get_description(), {}, {}, app.get_require_subcommand_min() > 0,
                   app.get_group()};
  for (const CLI::Option* option : app.get_options()) tree.options.push_back(describe(*option));
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    if (!command->get_group().empty()) tree.commands.push_back(commandTree(*command));
  return tree;
}

std::string usageText(const CommandTree& command, const std::string& path) {
  std::string line = path;
  for (const auto& option : command.options) {
    if (!option.isPositional) continue;
    const std::string name = option.names.front() + (option.isRepeated ? "..." : "");
    line += option.isRequired ? " " + name : " [" + name + "]";
  }
  return line;
}

}  // namespace sonmere
