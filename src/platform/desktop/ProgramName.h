#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sonmere {

// What a command line runs: the script or the game, where the program itself is only an interpreter.
struct ProgramName {
  std::string path;  // of the program or script, as far as known
  std::string key;   // bare name that identifies it
  std::string name;  // for the user
  // An interpreter or a wrapper that doesn't say what it runs.
  bool isRunnerAlone = false;
};

// Either may be empty.
ProgramName programName(std::string_view exe, const std::vector<std::string>& arguments);

// A shell that a person types into, so that what it starts is not its owner's.
bool isInteractiveShell(std::string_view exe, const std::vector<std::string>& arguments);

// The last part of a path.
std::string_view baseName(std::string_view path);
// The folder of a path when it holds the files of one application only; empty for "/usr/bin" and its like.
std::string_view privateFolder(std::string_view path);

}  // namespace sonmere
