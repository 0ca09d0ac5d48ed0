#include <fmt/format.h>

#include "cli/CommandTree.h"

namespace sonmere {

namespace {

// Calls `visit` with the path of each command ("record start") and the command.
template <class Visit>
void walk(const CommandTree& tree, const std::string& path, Visit&& visit) {
  visit(path, tree);
  for (const CommandTree& command : tree.commands)
    walk(command, path.empty() ? command.name : path + " " + command.name, visit);
}

// What can stand for a positional: shell code that prints the words, or nothing.
std::string wordsOf(const CommandTree::Option& option) {
  const std::string& name = option.names.front();
  if (name == "ID") return "$(sonmere apps --ids 2>/dev/null)";
  if (name == "BUS") return "0 2 3 4 5 6 7 8 9 off";
  if (name == "SWITCH") return "on off toggle";
  if (name == "SHELL") return "bash zsh";
  return "";
}

std::string bashWords(const CommandTree& command) {
  std::string words;
  for (const CommandTree& sub : command.commands) words += sub.name + " ";
  for (const auto& option : command.options)
    for (const std::string& name : option.names)
      if (!option.isPositional) words += name + " ";
  for (const auto& option : command.options)
    if (option.isPositional) words += wordsOf(option) + " ";
  return words;
}

// A case for each command: the words before the cursor name it by steps, and `variable` keeps where they are.
std::string pathCases(const CommandTree& tree, const char* variable) {
  std::string cases;
  walk(tree, "", [&](const std::string& path, const CommandTree&) {
    if (path.empty()) return;
    const auto cut = path.rfind(' ');
    const std::string parent = cut == std::string::npos ? "" : path.substr(0, cut);
    const std::string last = cut == std::string::npos ? path : path.substr(cut + 1);
    cases += fmt::format("      \"{} {}\") {}=\"{}\" ;;\n", parent, last, variable, path);
  });
  return cases;
}

// In single quotes, for zsh's _describe, where a colon ends the word.
std::string zshEntry(const std::string& word, const std::string& help) {
  std::string text = word + ":" + help, quoted;
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return "'" + quoted + "'";
}

}  // namespace

std::string bashCompletion(const CommandTree& tree) {
  std::string out =
      "# bash completion of sonmere; load it with: source <(sonmere completion bash)\n_sonmere() {\n";
  out += "  local words=(\"${COMP_WORDS[@]}\") current=$COMP_CWORD cur=${COMP_WORDS[COMP_CWORD]}\n";
  out += fmt::format(fmt::runtime(R"(  local path="" word
  for word in "${{words[@]:1:$((current - 1))}}"; do
    case "$path $word" in
{}    esac
  done
  case "$path" in
)"),
                     pathCases(tree, "path"));
  walk(tree, "", [&](const std::string& path, const CommandTree& command) {
    out += fmt::format("    \"{}\") COMPREPLY=($(compgen -W \"{}\" -- \"$cur\")) ;;\n", path,
                       bashWords(command));
  });
  return out + "  esac\n}\ncomplete -o default -F _sonmere sonmere\n";
}

std::string zshCompletion(const CommandTree& tree) {
  std::string out =
      "#compdef sonmere\n# zsh completion of sonmere; load it with: source <(sonmere completion "
      "zsh)\n_sonmere() {\n";
  out += fmt::format(fmt::runtime(R"(  local path_="" word
  local -a entries ids
  for word in "${{(@)words[2,CURRENT-1]}}"; do
    case "$path_ $word" in
{}    esac
  done
  case "$path_" in
)"),
                     pathCases(tree, "path_"));
  walk(tree, "", [&](const std::string& path, const CommandTree& command) {
    out += fmt::format("    \"{}\") entries=(", path);
    for (const CommandTree& sub : command.commands) out += zshEntry(sub.name, sub.help) + " ";
    for (const auto& option : command.options)
      for (const std::string& name : option.names)
        if (!option.isPositional) out += zshEntry(name, option.help) + " ";
    out += ")";
    for (const auto& option : command.options)
      if (option.isPositional && !wordsOf(option).empty()) out += fmt::format("; ids+=({})", wordsOf(option));
    out += " ;;\n";
  });
  return out +
         "  esac\n  (( $#entries )) && _describe 'sonmere' entries\n  (( $#ids )) && compadd -a ids\n  "
         "_files\n}\ncompdef _sonmere sonmere\n";
}

}  // namespace sonmere
