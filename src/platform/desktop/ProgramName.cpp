#include "platform/desktop/ProgramName.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <set>

namespace sonmere {

namespace {

using Words = std::set<std::string_view>;

// A program that runs others. Versions at the end of its name don't count: "python3.11" is "python".
struct Runner {
  std::string_view name;
  Words valued;           // options that take the next argument
  std::string_view code;  // the option whose argument is a program text: it tells no name
};

const std::array kRunners = {
    Runner{"python", {"-W", "-X"}, "-c"},
    Runner{"pypy", {"-W", "-X"}, "-c"},
    Runner{"java",
           {"-cp", "-classpath", "--class-path", "-p", "--module-path", "--add-modules", "--add-opens",
            "--add-exports", "--add-reads"},
           ""},
    Runner{"electron", {"-r"}, "-e"},
    Runner{"node", {"-r", "--require"}, "-e"},
    Runner{"nodejs", {"-r", "--require"}, "-e"},
    Runner{"perl", {"-I"}, "-e"},
    Runner{"ruby", {"-I", "-r"}, "-e"},
    Runner{"lua", {"-l"}, "-e"},
    Runner{"luajit", {"-l"}, "-e"},
    Runner{"mono", {}, ""},
    Runner{"dotnet", {"--runtimeconfig", "--depsfile"}, ""},
    Runner{"gjs", {"-I"}, "-c"},
    Runner{"bash", {"-O", "-o", "--rcfile", "--init-file"}, "-c"},
    Runner{"sh", {"-o"}, "-c"},
    Runner{"dash", {"-o"}, "-c"},
    Runner{"zsh", {"-o"}, "-c"},
    Runner{"ksh", {"-o"}, "-c"},
    Runner{"fish", {"-C"}, "-c"},
};
const Words kShells = {"bash", "sh", "dash", "zsh", "ksh", "fish"};
// Programs that start another, which is not theirs to name.
const Words kWrappers = {"bwrap",        "flatpak",    "snap",       "snap-exec",
                         "snap-confine", "env",        "firejail",   "setsid",
                         "nohup",        "nice",       "sudo",       "pkexec",
                         "gapplication", "gtk-launch", "xdg-open",   "dbus-run-session",
                         "busybox",      "timeout",    "systemd-run"};
const Words kScriptSuffixes = {".py",  ".pyw", ".pyc", ".pl", ".rb",  ".js",  ".mjs",
                               ".cjs", ".lua", ".jar", ".sh", ".dll", ".exe", ".asar"};
const Words kProgramSuffixes = {".bin", "-bin", ".real", "-wrapped", ".AppImage"};
// Names and folders that many applications use.
const Words kPlainNames = {"main",   "app",      "index",    "run",        "start",
                           "launch", "launcher", "__main__", "default_app"};
const Words kPlainFolders = {"bin", "src", "lib", "dist", "build", "resources", "app", "share"};
const Words kSharedFolders = {"", "bin", "sbin", "games", "lib", "lib32", "lib64", "libexec", "opt", "local"};

std::string lower(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return result;
}

std::string_view withoutSuffix(std::string_view name, const Words& suffixes) {
  for (const std::string_view suffix : suffixes)
    if (name.size() > suffix.size() && name.ends_with(suffix))
      return name.substr(0, name.size() - suffix.size());
  return name;
}

const Runner* findRunner(std::string_view program) {
  std::string_view name = baseName(program);
  if (name.starts_with('-')) name.remove_prefix(1);  // a login shell
  const auto bare = name.substr(0, name.find_last_not_of("0123456789.-") + 1);
  const auto found = std::ranges::find(kRunners, bare, &Runner::name);
  return found == kRunners.end() ? nullptr : &*found;
}

// "wine64-preloader", but not "winemaker".
bool isWine(std::string_view program) {
  static const Words table = {"wine",        "wine64",     "wine-preloader", "wine64-preloader", "wineloader",
                              "wine-stable", "wine-devel", "wine-staging",   "wineloader64"};
  return table.contains(baseName(program));
}

// The name of a script, or of its folder where every application calls its script so.
std::string_view scriptName(std::string_view path) {
  const std::string_view stem = withoutSuffix(baseName(path), kScriptSuffixes);
  if (!kPlainNames.contains(stem)) return stem;
  for (auto slash = path.rfind('/'); slash != std::string_view::npos && slash > 0; slash = path.rfind('/')) {
    path = path.substr(0, slash);
    if (!kPlainFolders.contains(baseName(path)) && !baseName(path).empty()) return baseName(path);
  }
  return stem;
}

// "org.example.game.Main" reads "game".
std::string_view className(std::string_view name) {
  const std::string_view whole = name;
  for (auto dot = name.rfind('.'); dot != std::string_view::npos; dot = name.rfind('.')) {
    const auto last = name.substr(dot + 1);
    if (!kPlainNames.contains(lower(last))) return last;
    name = name.substr(0, dot);
  }
  return kPlainNames.contains(lower(name)) ? whole : name;
}

ProgramName named(std::string_view path, std::string_view key) {
  return {std::string(path), std::string(key), std::string(key), false};
}

// What the arguments of an interpreter name; nothing when they name no script.
std::optional<ProgramName> scriptOf(const Runner& runner, const std::vector<std::string>& arguments) {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string& each = arguments[i];
    const bool hasNext = i + 1 < arguments.size();
    if (!runner.code.empty() && each == runner.code) return std::nullopt;
    if (each == "-m" && hasNext) return named("", className(arguments[i + 1]));
    if (runner.valued.contains(each))
      ++i;
    else if (!each.starts_with('-') && !(runner.name == "dotnet" && each == "exec") && !each.empty()) {
      const bool isClass = runner.name == "java" && !each.ends_with(".jar");
      if (!isClass) return named(each, scriptName(each));
      return ProgramName{"", each, std::string(className(each)), false};
    }
  }
  return std::nullopt;
}

// Windows programs go by their own name, whichever way it is written.
std::optional<ProgramName> windowsProgram(const std::vector<std::string>& arguments) {
  constexpr std::string_view kSuffix = ".exe";
  for (const std::string& each : arguments) {
    if (!lower(each).ends_with(kSuffix)) continue;
    const std::string_view file = std::string_view(each).substr(each.find_last_of("/\\") + 1);
    const std::string_view stem = file.substr(0, file.size() - kSuffix.size());
    return ProgramName{"", lower(stem), std::string(stem), false};
  }
  return std::nullopt;
}

// Assignments and options of "env" before the program that it runs.
std::vector<std::string> withoutEnv(const std::vector<std::string>& arguments) {
  auto from = arguments.begin() + 1;
  while (from != arguments.end() && (from->starts_with('-') || from->find('=') != std::string::npos)) ++from;
  return {from, arguments.end()};
}

}  // namespace

std::string_view baseName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view privateFolder(std::string_view path) {
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  const std::string_view folder = path.substr(0, slash);
  const std::string_view last = baseName(folder);
  return kSharedFolders.contains(last) || last.ends_with("-linux-gnu") ? std::string_view() : folder;
}

ProgramName programName(std::string_view exe, const std::vector<std::string>& arguments) {
  if (arguments.size() > 1 && baseName(arguments[0]) == "env") {
    const auto command = withoutEnv(arguments);
    return programName(command.empty() ? "" : std::string_view(command[0]), command);
  }
  const std::string_view program = !exe.empty() || arguments.empty() ? exe : std::string_view(arguments[0]);
  const bool saysWindows = !arguments.empty() && lower(arguments[0]).ends_with(".exe");
  if (isWine(program) || saysWindows)
    if (auto windows = windowsProgram(arguments)) return *windows;
  const Runner* const runner = findRunner(program);
  if (runner)
    if (auto script = scriptOf(*runner, arguments)) return *script;
  ProgramName result = named(program, withoutSuffix(baseName(program), kProgramSuffixes));
  result.isRunnerAlone = runner || isWine(program) || kWrappers.contains(result.key);
  return result;
}

bool isInteractiveShell(std::string_view exe, const std::vector<std::string>& arguments) {
  const std::string_view program = !exe.empty() || arguments.empty() ? exe : std::string_view(arguments[0]);
  const Runner* const runner = findRunner(program);
  if (!runner || !kShells.contains(runner->name)) return false;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string& each = arguments[i];
    const bool isShortOptions = each.starts_with('-') && !each.starts_with("--");
    if (!each.starts_with('-') || (isShortOptions && each.find('c') != std::string::npos)) return false;
    if (runner->valued.contains(each)) ++i;
  }
  return true;
}

}  // namespace sonmere
