#include "platform/desktop/ProcessOwner.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>

namespace sonmere {

namespace {

// Programs that always work for the one that started them.
constexpr std::array kHelperPrograms = {"WebKitWebProcess",    "WebKitNetworkProcess", "WebKitGPUProcess",
                                        "WebKitPluginProcess", "QtWebEngineProcess",   "plugin-container",
                                        "xdg-dbus-proxy",      "zypak-sandbox"};
constexpr std::array kHelperSuffixes = {"helper", "Helper", "-zygote", "_handler"};
// Arguments that a program gives only to its own children.
constexpr std::array kHelperArguments = {"--type=", "-contentproc", "--utility-sub-type="};
// Names that content processes give themselves.
constexpr std::array kHelperComms = {"Web Content",    "Isolated Web Co", "WebExtensions",  "Privileged Cont",
                                     "Socket Process", "RDD Process",     "Utility Process"};

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char small = char(std::tolower(static_cast<unsigned char>(c)));
  return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

// Unit names write "-" and other characters as "\x2d".
std::string unitUnescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscape = text.substr(i).starts_with("\\x") && i + 3 < text.size();
    const int high = isEscape ? hexDigit(text[i + 2]) : -1, low = isEscape ? hexDigit(text[i + 3]) : -1;
    if (high < 0 || low < 0) {
      result += text[i];
      continue;
    }
    result += char(high * 16 + low);
    i += 3;
  }
  return result;
}

bool dropSuffix(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

bool dropPrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::optional<ControlGroupApp> desktopApp(std::string_view id) {
  dropSuffix(id, ".desktop");
  std::string plain = unitUnescaped(id);
  if (plain.empty()) return std::nullopt;
  return ControlGroupApp{ControlGroupApp::Kind::desktop, std::move(plain), {}};
}

// "[<launcher>-]<id>-<random>"; a "-" inside the parts is escaped.
std::optional<ControlGroupApp> scopeApp(std::string_view rest) {
  const auto random = rest.rfind('-');
  if (random == std::string_view::npos) return std::nullopt;
  rest = rest.substr(0, random);
  return desktopApp(rest.substr(rest.rfind('-') + 1));
}

// "[<launcher>-]<id>[@<random>]"
std::optional<ControlGroupApp> serviceApp(std::string_view rest) {
  rest = rest.substr(0, rest.find('@'));
  return desktopApp(rest.substr(rest.rfind('-') + 1));
}

// "<name>.<command>", followed by "-<uuid>" or ".<uuid>" in a scope.
std::optional<ControlGroupApp> snapApp(std::string_view rest) {
  constexpr std::size_t kUUID = 36;
  if (rest.size() > kUUID + 1 && std::ranges::count(rest.substr(rest.size() - kUUID), '-') == 4)
    rest.remove_suffix(kUUID + 1);
  const auto dot = rest.find('.');
  ControlGroupApp app{ControlGroupApp::Kind::snap, unitUnescaped(rest.substr(0, dot)), {}};
  if (dot != std::string_view::npos) app.command = unitUnescaped(rest.substr(dot + 1));
  if (app.id.empty()) return std::nullopt;
  return app;
}

// "<unique name>-<name>@<n>"
std::optional<ControlGroupApp> busApp(std::string_view rest) {
  rest = rest.substr(0, rest.find('@'));
  const auto dash = rest.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  return ControlGroupApp{ControlGroupApp::Kind::dbus, unitUnescaped(rest.substr(dash + 1)), {}};
}

std::optional<ControlGroupApp> unitApp(std::string_view unit) {
  const bool isScope = dropSuffix(unit, ".scope");
  if (!isScope && !dropSuffix(unit, ".service")) return std::nullopt;
  if (dropPrefix(unit, "app-")) return isScope ? scopeApp(unit) : serviceApp(unit);
  if (dropPrefix(unit, "snap.")) return snapApp(unit);
  if (!isScope && dropPrefix(unit, "dbus-")) return busApp(unit);
  return std::nullopt;
}

bool isHelper(const ProcessFact& fact) {
  const std::string_view program = baseName(fact.exe);
  const auto isProgram = [&](std::string_view each) { return program == each; };
  const auto hasSuffix = [&](std::string_view each) { return program.ends_with(each); };
  const auto isComm = [&](std::string_view each) { return fact.comm == each; };
  // Children that write their own command line put all of it into one argument.
  const auto hasArgument = [&](std::string_view argument) {
    return std::ranges::any_of(kHelperArguments, [&](const std::string_view each) {
      return argument.starts_with(each) || argument.find(" " + std::string(each)) != std::string_view::npos;
    });
  };
  return std::ranges::any_of(kHelperPrograms, isProgram) || std::ranges::any_of(kHelperSuffixes, hasSuffix) ||
         std::ranges::any_of(kHelperComms, isComm) || std::ranges::any_of(fact.arguments, hasArgument);
}

bool isRunner(const ProcessFact& fact) { return programName(fact.exe, {}).isRunnerAlone; }

// A process that starts whatever the user asks for.
bool startsAnything(const ProcessFact& fact) {
  static const std::set<std::string_view> table = {"systemd", "init",        "login",       "sshd",
                                                   "runuser", "su",          "gnome-shell", "plasmashell",
                                                   "screen",  "dbus-daemon", "dbus-broker", "kdeinit5"};
  return table.contains(fact.comm) || fact.comm.starts_with("tmux") ||
         isInteractiveShell(fact.exe, fact.arguments);
}

bool worksFor(const ProcessFact& child, const ProcessFact& parent) {
  if (startsAnything(parent)) return false;
  if (controlGroupApp(child.controlGroup) != controlGroupApp(parent.controlGroup)) return false;
  if (isHelper(child) || programName(child).isRunnerAlone) return true;
  // A shared interpreter makes no family.
  if (child.exe.empty() || isRunner(child) || isRunner(parent)) return false;
  const auto folder = privateFolder(child.exe);
  return child.exe == parent.exe || (!folder.empty() && folder == privateFolder(parent.exe));
}

bool isSameApplication(const ProcessFact& one, const ProcessFact& other) {
  if (!one.sandboxID.empty()) return one.sandboxID == other.sandboxID;
  const auto app = controlGroupApp(one.controlGroup);
  return app && app == controlGroupApp(other.controlGroup);
}

// One file may be several programs, by links to it; the kernel names the process after the link.
bool isStartedByOtherName(const ProcessFact& fact, const ProgramName& program) {
  constexpr std::size_t kCommLength = 15;
  if (program.isRunnerAlone || fact.exe.empty() || fact.arguments.empty() || program.path != fact.exe)
    return false;
  const std::string_view given = baseName(fact.arguments[0]);
  return !given.empty() && given != baseName(fact.exe) && given.substr(0, kCommLength) == fact.comm;
}

}  // namespace

std::optional<ControlGroupApp> controlGroupApp(std::string_view controlGroup) {
  while (!controlGroup.empty()) {
    if (auto app = unitApp(baseName(controlGroup))) return app;
    const auto slash = controlGroup.rfind('/');
    controlGroup = controlGroup.substr(0, slash == std::string_view::npos ? 0 : slash);
  }
  return std::nullopt;
}

ProgramName programName(const ProcessFact& fact) {
  ProgramName program =
      programName(fact.exe.empty() && fact.arguments.empty() ? fact.comm : fact.exe, fact.arguments);
  if (!isStartedByOtherName(fact, program)) return program;
  program.key = program.name = baseName(fact.arguments[0]);
  return program;
}

std::size_t owningProcess(const ProcessFacts& facts) {
  const auto& chain = facts.chain;
  std::size_t owner = 0;
  while (owner + 1 < chain.size() && worksFor(chain[owner], chain[owner + 1])) ++owner;
  // A wrapper at the top owns nothing; what it wraps does.
  while (owner > 0 && programName(chain[owner]).isRunnerAlone) --owner;
  return owner;
}

std::size_t outermostProcess(const ProcessFacts& facts) {
  const auto& chain = facts.chain;
  const std::size_t owner = owningProcess(facts);
  std::size_t outermost = owner;
  for (std::size_t i = owner + 1; i < chain.size() && isSameApplication(chain[owner], chain[i]); ++i)
    if (!isRunner(chain[i])) outermost = i;
  return outermost;
}

bool isTypedIntoShell(const ProcessFacts& facts) {
  const auto& chain = facts.chain;
  for (std::size_t i = 1; i < chain.size(); ++i) {
    if (controlGroupApp(chain[i].controlGroup) != controlGroupApp(chain[0].controlGroup)) return false;
    if (isInteractiveShell(chain[i].exe, chain[i].arguments)) return true;
  }
  return false;
}

}  // namespace sonmere
