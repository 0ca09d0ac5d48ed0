#include "cli/ReportArchive.h"

#include <fmt/format.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "app/MachineCheck.h"
#include "app/PlatformFolders.h"
#include "app/PlatformMachine.h"
#include "app/ProgramVersion.h"
#include "base/AtomicFile.h"
#include "base/LiveRuntime.h"
#include "base/Redaction.h"
#include "base/TarText.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/Tell.h"
#include "control/ControlClient.h"

namespace sonmere {

namespace {

using Files = std::vector<std::pair<std::string, std::string>>;

// What the user called something, by the members' names.
constexpr std::array kGivenNames{"givenName", "title", "path", "file", "folder", "names"};

void hideNames(ControlJSON& value) {
  if (!value.is_structured()) return;
  for (auto item = value.begin(); item != value.end(); ++item) {
    const bool isGiven = value.is_object() && std::ranges::find(kGivenNames, item.key()) != kGivenNames.end();
    if (isGiven && item->is_string() && !item->get<std::string>().empty())
      *item = "…";
    else if (isGiven && item->is_object())
      *item = ControlJSON::object();
    else
      hideNames(*item);
  }
}

std::string versionsText() {
  utsname system{};
  ::uname(&system);
  return fmt::format("Sonmere {}\nSystem {} {} {}\n", kProgramVersion, system.sysname, system.release,
                     system.machine);
}

std::string machineText() {
  std::string text;
  const MachineFacts machine = thisMachine();
  for (const MachineFinding& each : checkMachine(machine))
    text += fmt::format("{}: {}: {}\n", verdictText(each.verdict), each.id, each.text);
  return text + "PipeWire " + machine.serverVersion + "\n";
}

// Of the running program; nothing without one.
void addProgram(Files& files, bool isFull) {
  auto client = ControlClient::connect(userControlFolder());
  if (!client) return;
  for (const char* method : {"report", "report.history"})
    if (const auto answer = client->call(method))
      files.emplace_back(std::string(method) + ".txt", answer->value("text", std::string()));
  for (const char* method : {"status", "apps", "routing", "mixer", "input", "monitor", "devices", "routes",
                             "driver", "plugins", "recordings", "record.health", "settings"})
    if (auto answer = client->call(method)) {
      if (!isFull) hideNames(*answer);
      files.emplace_back(std::string(method) + ".json", answer->dump(2) + "\n");
    }
}

}  // namespace

int archiveReport(const std::string& file, bool isFull, bool json) {
  Files files{{"versions.txt", versionsText()}, {"machine.txt", machineText()}};
  addProgram(files, isFull);
  const Redaction redact = Redaction::ofUser();
  if (!isFull)
    for (auto& [name, text] : files) text = redact(std::move(text));
  const LiveRuntime runtime;
  std::error_code ignored;
  if (std::filesystem::exists(std::filesystem::symlink_status(file, ignored)))
    return tell("report", kExitBadInput, file + " exists");
  if (const auto written = writeFileAtomically(file, tarText(files, runtime.wallTime())); !written)
    return tell("report", kExitFailure, written.error().description);
  if (json)
    printJSON({{"archive", file}, {"files", files.size()}, {"redacted", !isFull}});
  else
    fmt::print("{}: {} files{}\n", printable(file), files.size(),
               isFull ? "" : "; names of user and machine, paths and titles are left out");
  return kExitSuccess;
}

}  // namespace sonmere
