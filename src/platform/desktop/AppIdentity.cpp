#include "platform/desktop/AppIdentity.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>

#include "platform/desktop/DesktopEntries.h"
#include "platform/desktop/PlainText.h"
#include "platform/desktop/ProcessOwner.h"

namespace sonmere {

namespace {

constexpr std::string_view kSystemSoundsKey = "systemsoundserverd";
constexpr std::string_view kEffectsMasterKey = "__master__";
constexpr std::string_view kSnap = "snap.";
constexpr std::string_view kPulseClient = "pipewire-pulse";

// What is known of one stream.
struct Evidence {
  const AppProperties& stream;
  const AppProperties& client;
  const ProcessFacts& facts;
  const DesktopEntries& entries;
};

std::string_view property(const AppProperties& properties, std::string_view name) {
  const auto found = properties.find(name);
  return found == properties.end() ? std::string_view() : std::string_view(found->second);
}

// The stream's own word, else its client's.
std::string_view property(const AppProperties& stream, const AppProperties& client, std::string_view name) {
  const auto own = property(stream, name);
  return own.empty() ? property(client, name) : own;
}
std::string_view property(const Evidence& e, std::string_view name) {
  return property(e.stream, e.client, name);
}

ProcessID toPID(std::string_view text) {
  ProcessID pid = 0;
  std::from_chars(text.data(), text.data() + text.size(), pid);
  return std::max(pid, 0);
}

bool isPulseClient(const AppProperties& stream, const AppProperties& client) {
  return property(stream, client, "client.api") == kPulseClient;
}

// Whether the server found that the client lives among process numbers of its own.
bool isSandboxed(const AppProperties& stream, const AppProperties& client) {
  const auto id = property(stream, client, "pipewire.access.portal.app_id");
  if (id.starts_with(kSnap)) return false;
  return !id.empty() || property(stream, client, "pipewire.access") == "flatpak" ||
         property(stream, client, "pipewire.client.access") == "flatpak";
}

// Process names end after 15 bytes.
bool isNamed(const ProcessFact& fact, std::string_view binary) {
  constexpr std::size_t kCommLength = 15;
  const auto isBinary = [&](std::string_view argument) { return baseName(argument) == binary; };
  return isBinary(fact.exe) || fact.comm == binary.substr(0, kCommLength) ||
         std::ranges::any_of(fact.arguments, isBinary);
}

// Numbers from inside a sandbox, and of processes that have ended, belong to another program by now.
bool areFactsOfStream(const AppProperties& stream, const AppProperties& client, const ProcessFacts& facts) {
  if (facts.chain.empty()) return false;
  const ProcessFact& process = facts.chain.front();
  if (!isPulseClient(stream, client) && process.pid == toPID(property(client, "pipewire.sec.pid")))
    return true;
  const auto binary = baseName(property(stream, client, "application.process.binary"));
  return binary.empty() || isNamed(process, binary);
}

// ---- what an identity is made of ----

// The families' rules cut a key at ".helper", and know two keys of their own.
std::string familyKey(std::string_view id) {
  std::string key = plainText(id);
  constexpr std::string_view kHelper = ".helper";
  for (auto at = key.find(kHelper); at != std::string::npos; at = key.find(kHelper)) key[at] = '-';
  if (key == kSystemSoundsKey || key == kEffectsMasterKey) key.insert(0, "app-");
  return key;
}

std::string iconOf(const Evidence& e) {
  for (const char* name : {"application.icon-name", "application.icon_name", "media.icon-name"})
    if (const auto icon = property(e, name); !icon.empty()) return plainText(icon);
  return {};
}

AppIdentity identity(const Evidence& e, std::string_view id, std::string_view name) {
  AppIdentity result{familyKey(id), plainText(name), iconOf(e), 0, false};
  if (result.name.empty()) result.name = result.bundleID;
  return result;
}

AppIdentity identity(const Evidence& e, const DesktopEntry& entry) {
  AppIdentity result = identity(e, entry.id, entry.name);
  if (!entry.icon.empty()) result.icon = entry.icon;
  return result;
}

// An entry's identity where there is an entry; else the ID speaks: "org.example.Player" reads "Player".
AppIdentity identityOfID(const Evidence& e, std::string_view id) {
  if (const DesktopEntry* entry = e.entries.find(id)) return identity(e, *entry);
  return identity(e, id, id.substr(id.rfind('.') + 1));
}

AppIdentity identityOfSnap(const Evidence& e, std::string_view snap, std::string_view command) {
  const std::string name(snap);
  for (const std::string& id : {name + '_' + std::string(command), name + '_' + name})
    if (const DesktopEntry* entry = e.entries.find(id)) return identity(e, *entry);
  return identity(e, "snap." + name, name);
}

// Client libraries that stand in for a program name it in brackets: "ALSA plug-in [player]".
std::string_view unwrapped(std::string_view name) {
  if (!name.starts_with("ALSA plug-in [") && !name.starts_with("PipeWire ALSA [")) return name;
  name.remove_prefix(name.find('[') + 1);
  return name.substr(0, name.rfind(']'));
}

// ---- the rules, in their order ----

std::optional<AppIdentity> bySandbox(const Evidence& e) {
  std::string_view id = property(e, "pipewire.access.portal.app_id");
  if (id.empty() && !e.facts.chain.empty()) id = e.facts.chain.front().sandboxID;
  if (id.empty()) return std::nullopt;
  if (!id.starts_with(kSnap)) return identityOfID(e, id);
  id.remove_prefix(kSnap.size());
  const auto dot = id.find('.');
  return identityOfSnap(e, id.substr(0, dot), dot == std::string_view::npos ? "" : id.substr(dot + 1));
}

// A terminal's group says nothing of what runs in the terminal.
bool runsInTerminal(const Evidence& e, std::string_view id) {
  if (isTypedIntoShell(e.facts)) return true;
  const DesktopEntry* const entry = e.entries.find(id);
  if (!entry || !entry->isTerminal) return false;
  const auto& owner = e.facts.chain[owningProcess(e.facts)];
  return e.entries.findByProgram(programName(owner)) != entry;
}

std::optional<AppIdentity> byControlGroup(const Evidence& e) {
  if (e.facts.chain.empty()) return std::nullopt;
  const auto app = controlGroupApp(e.facts.chain.front().controlGroup);
  if (!app || runsInTerminal(e, app->id)) return std::nullopt;
  switch (app->kind) {
    case ControlGroupApp::Kind::snap:
      return identityOfSnap(e, app->id, app->command);
    case ControlGroupApp::Kind::desktop:
      return identityOfID(e, app->id);
    case ControlGroupApp::Kind::dbus:
      break;  // not every service is an application
  }
  const DesktopEntry* const entry = e.entries.find(app->id);
  return entry ? std::optional(identity(e, *entry)) : std::nullopt;
}

AppIdentity identityOfProgram(const Evidence& e, const ProgramName& program) {
  if (const DesktopEntry* entry = e.entries.findByProgram(program)) return identity(e, *entry);
  return identity(e, program.key, program.name);
}

std::optional<AppIdentity> byProgram(const Evidence& e) {
  if (!e.facts.chain.empty()) {
    const ProgramName program = programName(e.facts.chain[owningProcess(e.facts)]);
    if (!program.isRunnerAlone && !program.key.empty()) return identityOfProgram(e, program);
  }
  const auto binary = baseName(property(e, "application.process.binary"));
  const ProgramName program = programName(binary, {});
  if (program.key.empty() || program.isRunnerAlone) return std::nullopt;
  return identityOfProgram(e, program);
}

std::optional<AppIdentity> byName(const Evidence& e) {
  if (const auto id = property(e, "application.id"); !id.empty()) return identityOfID(e, id);
  for (const char* each : {"application.name", "node.name", "media.name"})
    if (const auto name = unwrapped(property(e, each)); !plainText(name).empty())
      return identityOfProgram(e, ProgramName{"", std::string(name), std::string(name), false});
  return std::nullopt;
}

// An interpreter of which nothing else is known.
std::optional<AppIdentity> byInterpreter(const Evidence& e) {
  const auto binary = baseName(property(e, "application.process.binary"));
  if (!plainText(binary).empty()) return identity(e, binary, binary);
  if (e.facts.chain.empty()) return std::nullopt;
  const ProgramName program = programName(e.facts.chain.front());
  return program.key.empty() ? std::nullopt : std::optional(identity(e, program.key, program.name));
}

struct Rule {
  std::optional<AppIdentity> (*identity)(const Evidence&);
  // Which process of the chain then answers for the stream.
  std::size_t (*owner)(const ProcessFacts&);
};
constexpr std::array kRules = {Rule{bySandbox, outermostProcess}, Rule{byControlGroup, outermostProcess},
                               Rule{byProgram, owningProcess}, Rule{byName, owningProcess},
                               Rule{byInterpreter, owningProcess}};

AppIdentity applyRules(const Evidence& e) {
  for (const Rule& rule : kRules) {
    auto found = rule.identity(e);
    if (!found) continue;
    const auto& chain = e.facts.chain;
    if (!chain.empty()) found->ownerPID = chain[rule.owner(e.facts)].pid;
    return *found;
  }
  return identity(e, "unknown", "Unknown");
}

}  // namespace

bool isEventSound(const AppProperties& stream) {
  static const std::set<std::string_view> roles = {"event", "Event", "Notification", "notification"};
  return roles.contains(property(stream, "media.role")) || !property(stream, "event.id").empty();
}

ProcessID streamProcessID(const AppProperties& stream, const AppProperties& client) {
  if (!isPulseClient(stream, client))
    if (const ProcessID pid = toPID(property(client, "pipewire.sec.pid")); pid > 0) return pid;
  if (isSandboxed(stream, client)) return 0;
  return toPID(property(stream, client, "application.process.id"));
}

AppIdentity identifyApp(const AppProperties& stream, const AppProperties& client, const ProcessFacts& facts,
                        const DesktopEntries& entries) {
  static const ProcessFacts kNoFacts;
  const bool areTrue = areFactsOfStream(stream, client, facts);
  AppIdentity result = applyRules({stream, client, areTrue ? facts : kNoFacts, entries});
  if (isEventSound(stream)) {
    result.bundleID = kSystemSoundsKey;
    result.name = "System Sounds";
    result.icon.clear();
    result.isSystemSound = true;
  }
  return result;
}

}  // namespace sonmere
