#include "platform/desktop/DesktopApplications.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "base/Error.h"
#include "platform/desktop/ChildProcess.h"
#include "platform/desktop/ProcessOwner.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;
constexpr OSStatus kNoSuchApplication = -600;
constexpr OSStatus kPOSIXErrorBase = 100000;
const AppProperties kNoProperties;

// "-" and what else may not stand in the name of a unit.
std::string unitEscaped(std::string_view text) {
  std::string result;
  for (const unsigned char c : text)
    result += std::isalnum(c) || c == '_' || c == '.' ? std::string(1, char(c)) : fmt::format("\\x{:02x}", c);
  return result;
}

}  // namespace

struct DesktopApplications::Observers {
  explicit Observers(Runtime& runtime) : launches(runtime), terminations(runtime) {}
  ObserverList<RunningApplication> launches;
  ObserverList<RunningApplication> terminations;
};

DesktopApplications::DesktopApplications(Runtime& runtime, Log& log, DesktopEntries entries, Places places)
    : runtime_(runtime),
      log_(log),
      entries_(std::move(entries)),
      places_(std::move(places)),
      observers_(std::make_shared<Observers>(runtime)),
      watch_([this](ProcessID pid) { ended(pid); }) {}

ProcessID DesktopApplications::ownPID() const { return ::getpid(); }

// Programs without a visible entry in the menus are no regular applications.
RunningApplication DesktopApplications::describe(ProcessID pid, const AppIdentity& identity) const {
  const DesktopEntry* const entry = entries_.find(identity.bundleID);
  const bool isRegular = entry && !entry->noDisplay;
  return {identity.ownerPID > 0 ? identity.ownerPID : pid, identity.bundleID, identity.name, identity.icon,
          isRegular ? ActivationPolicy::regular : ActivationPolicy::accessory};
}

std::optional<RunningApplication> DesktopApplications::lookUp(ProcessID pid) const {
  const ProcessFacts facts = readProcessFacts(pid, places_.procFolder);
  if (facts.chain.empty()) return std::nullopt;
  const ProcessFact& process = facts.chain.front();
  if (process.exe.empty() && process.arguments.empty()) return std::nullopt;  // of the kernel, or a zombie
  return describe(pid, identifyApp(kNoProperties, kNoProperties, facts, entries_));
}

std::optional<RunningApplication> DesktopApplications::applicationWithPID(ProcessID pid) {
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = known_.find(pid); found != known_.end())
      return describe(pid, found->second.identity);
    for (const auto& [each, known] : known_)
      if (known.identity.ownerPID == pid) return describe(each, known.identity);
  }
  return lookUp(pid);
}

std::vector<RunningApplication> DesktopApplications::applicationsWithBundleID(std::string_view bundleID) {
  std::vector<RunningApplication> running;
  const auto add = [&](const RunningApplication& application) {
    const bool isNew = std::ranges::find(running, application.pid, &RunningApplication::pid) == running.end();
    if (application.bundleID == bundleID && isNew) running.push_back(application);
  };
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [pid, known] : known_) add(describe(pid, known.identity));
  }
  for (const ProcessID pid : userProcesses(places_.procFolder))
    if (const auto application = lookUp(pid)) add(*application);
  return running;
}

std::optional<ProcessID> DesktopApplications::responsiblePID(ProcessID pid) {
  const auto application = applicationWithPID(pid);
  return application ? std::optional(application->pid) : std::nullopt;
}

std::optional<std::string> DesktopApplications::iconForBundleID(std::string_view bundleID) {
  if (const DesktopEntry* entry = entries_.find(bundleID); entry && !entry->icon.empty()) return entry->icon;
  const std::lock_guard lock(mutex_);
  for (const auto& [pid, known] : known_)
    if (known.identity.bundleID == bundleID && !known.identity.icon.empty()) return known.identity.icon;
  return std::nullopt;
}

// Without a control group of its own, what we start would count as a part of us.
std::vector<std::string> DesktopApplications::launchCommand(const DesktopEntry& entry) const {
  std::vector<std::string> command = execArguments(entry).value_or(std::vector<std::string>());
  std::error_code ignored;
  const bool hasManager =
      !places_.runtimeFolder.empty() && fs::exists(places_.runtimeFolder + "/systemd/private", ignored);
  if (entry.needsTerminal && !command.empty()) command.insert(command.begin(), "xdg-terminal-exec");
  if (!hasManager || command.empty() || findInPath(command[0]).empty() || findInPath("systemd-run").empty())
    return command;
  const std::string unit =
      fmt::format("app-sonmere-{}-{:x}.scope", unitEscaped(entry.id), runtime_.randomBits());
  const std::vector<std::string> scope = {"systemd-run",    "--user",    "--scope",
                                          "--quiet",        "--collect", "--slice=app.slice",
                                          "--unit=" + unit, "--"};
  command.insert(command.begin(), scope.begin(), scope.end());
  return command;
}

OSStatus DesktopApplications::launch(std::string_view bundleID) {
  // One that was installed since the start is found too.
  const DesktopEntries fresh = entries_.find(bundleID) ? DesktopEntries() : DesktopEntries::read();
  const DesktopEntry* const known = entries_.find(bundleID);
  const DesktopEntry* const entry = known ? known : fresh.find(bundleID);
  if (!entry) return kNoSuchApplication;
  if (!applicationsWithBundleID(bundleID).empty()) return noErr;
  const int error = launchDetached(launchCommand(*entry), entry->path);
  if (error == 0) return noErr;
  log_.error(
      posixError(error, fmt::format("{} ({}) could not be started", entry->name, entry->exec)).description);
  return kPOSIXErrorBase + error;
}

OSStatus DesktopApplications::terminate(ProcessID pid) {
  if (pid <= 1 || pid == ownPID()) return kNoSuchApplication;
  if (::kill(pid, SIGTERM) == 0) return noErr;
  return errno == ESRCH ? kNoSuchApplication : kPOSIXErrorBase + errno;
}

Subscription DesktopApplications::observeLaunches(std::function<void(const RunningApplication&)> observer) {
  return observers_->launches.add(std::move(observer));
}

Subscription DesktopApplications::observeTerminations(
    std::function<void(const RunningApplication&)> observer) {
  return observers_->terminations.add(std::move(observer));
}

void DesktopApplications::appeared(ProcessID pid, const AppIdentity& identity) {
  if (identity.isSystemSound) return;  // no application answers for those
  {
    const std::lock_guard lock(mutex_);
    auto [at, isNew] = known_.try_emplace(pid);
    at->second.identity = identity;
    if (!isNew) return;
    at->second.isWatched = watch_.watch(pid);
  }
  runtime_.mainQueue().post([observers = observers_, application = describe(pid, identity)] {
    observers->launches.post(application);
  });
}

void DesktopApplications::vanished(ProcessID pid) {
  {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(pid);
    if (found == known_.end() || found->second.isWatched) return;
  }
  ended(pid);
}

std::optional<RunningApplication> DesktopApplications::forget(ProcessID pid) {
  const std::lock_guard lock(mutex_);
  const auto found = known_.find(pid);
  if (found == known_.end()) return std::nullopt;
  const RunningApplication application = describe(pid, found->second.identity);
  known_.erase(found);
  return application;
}

void DesktopApplications::ended(ProcessID pid) {
  const auto application = forget(pid);
  if (!application) return;
  runtime_.mainQueue().post(
      [observers = observers_, application = *application] { observers->terminations.post(application); });
}

}  // namespace sonmere
