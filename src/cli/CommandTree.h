#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace sonmere {

// The commands as they are defined for the parser, for what is made of them: completions and the manual page.
struct CommandTree {
  struct Option {
    std::vector<std::string> names;  // "--json", "-v"; one bare name for a positional
    std::string value;               // what it takes; empty: nothing
    std::string help;
    bool isPositional = false;
    bool isRequired = false;
  };
  std::string name;
  std::string help;
  std::vector<Option> options;
  std::vector<CommandTree> commands;
};

CommandTree commandTree(const CLI::App& app);

// Scripts that the shells load, and a page for man. Each ends with a line end.
std::string bashCompletion(const CommandTree& tree);
std::string zshCompletion(const CommandTree& tree);
std::string manualPage(const CommandTree& tree, const std::string& version);

}  // namespace sonmere
