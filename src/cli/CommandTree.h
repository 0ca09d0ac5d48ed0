#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace sonmere {

// The commands as they are defined for the parser, for what is made of them: completion and the manual page.
struct CommandTree {
  struct Option {
    std::vector<std::string> names;  // "--json", "-v"; one bare name for a positional
    // What it takes: kinds in capitals, words that stand for themselves in small letters, with bars between
    // ("BUS|off", "on|off"), or two of these as "ID=BUS|off". Of a positional it is the name. Empty: nothing.
    std::string value;
    std::string help;
    bool isPositional = false;
    bool isRequired = false;
    bool isValueOptional = false;
    bool isRepeated = false;  // a positional that takes all words that follow
  };
  std::string name;
  std::string help;
  std::vector<Option> options;
  std::vector<CommandTree> commands;
  bool needsCommand = false;  // one of its commands has to be named
  std::string group;          // where --help lists it
};

CommandTree commandTree(const CLI::App& app);

// "sonmere record start BUS", where `path` is all but what the command takes.
std::string usageText(const CommandTree& command, const std::string& path);

// The page for man of the program, and of one of its commands ("sonmere-record"). Each ends with a line end.
std::string manualPage(const CommandTree& tree, const std::string& version);
std::string commandManualPage(const CommandTree& tree, const CommandTree& command,
                              const std::string& version);

}  // namespace sonmere
