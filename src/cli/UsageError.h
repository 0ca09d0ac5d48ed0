#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/CommandTree.h"

namespace sonmere {

// What is wrong with a command line that the parser refused, in the user's words.
struct UsageError {
  std::string command;  // as far as the words name one: "record start"
  std::string text;
};

// `words` are those behind the program's name. Nothing where only the parser knows.
std::optional<UsageError> findUsageError(const CommandTree& tree, const std::vector<std::string>& words);

// The command that the words name, and what they are called together; or that there is none, with what was
// probably meant.
struct NamedCommand {
  const CommandTree* command = nullptr;
  std::string path;  // "record start"; empty for the program itself
  std::optional<UsageError> error;
};
NamedCommand findCommand(const CommandTree& tree, const std::vector<std::string>& words);

}  // namespace sonmere
