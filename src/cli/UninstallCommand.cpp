#include "cli/UninstallCommand.h"

#include <fmt/format.h>

#include "app/InstanceLock.h"
#include "app/PlatformFolders.h"
#include "app/PlatformFootprint.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/Tell.h"
#include "cli/UserLibrary.h"
#include "control/ControlClient.h"

namespace sonmere {

namespace {

constexpr int kLongestEnd = 20'000;  // ms

int tell(int status, const std::string& text) { return sonmere::tell("uninstall", status, text); }

// Damaged settings name no folder; the default one counts always.
std::vector<std::string> recordingsFolders() {
  std::vector<std::string> folders{userFolders().defaultRecordings};
  if (const auto user = UserLibrary::open([](const std::string&) {})) {
    folders.push_back(*(*user)->library().folderInUse);
    if (const auto chosen = (*user)->library().chosenFolder()) folders.push_back(*chosen);
  }
  return folders;
}

bool endProgram() {
  auto program = ControlClient::connect(userControlFolder());
  if (program) {
    (void)program->call("quit");
    (void)program->waitForEnd(kLongestEnd);
  }
  return !InstanceLock::isHeld(userControlFolder());
}

struct Row {
  Footprint footprint;
  std::string problem;  // why it is still there
};

void showJSON(const std::vector<Row>& rows, bool isDryRun) {
  OutputJSON all = OutputJSON::array();
  for (const auto& [footprint, problem] : rows)
    all.push_back({{"kind", name(footprint.kind)},
                   {"meaning", meaning(footprint.kind)},
                   {"paths", footprint.paths},
                   {"removed", !isDryRun && problem.empty()},
                   {"problem", problem.empty() ? OutputJSON(nullptr) : OutputJSON(problem)}});
  printJSON({{"dryRun", isDryRun}, {"footprints", all}, {"recordings", recordingsFolders().back()}});
}

void showText(const std::vector<Row>& rows, const std::string& recordings, bool isDryRun) {
  for (const auto& [footprint, problem] : rows) {
    fmt::print("{:<11}{}\n", name(footprint.kind), meaning(footprint.kind));
    for (const std::string& path : footprint.paths) fmt::print("           {}\n", printable(path));
    if (!problem.empty()) fmt::print("           stays: {}\n", printable(problem));
  }
  if (rows.empty()) fmt::print("There is nothing of Sonmere here.\n");
  fmt::print("Recordings stay: {}\n", printable(recordings));
  if (isDryRun && !rows.empty()) fmt::print("Nothing was removed; sonmere uninstall --yes does.\n");
}

}  // namespace

int runUninstall(bool isDryRun, bool isMeant, bool json) {
  if (isDryRun == isMeant)
    return tell(kExitBadInput, "say --dry-run to see what there is, and --yes to remove it");
  const auto recordings = recordingsFolders();
  std::vector<Row> rows;
  for (Footprint& each : footprints(recordings)) rows.push_back({each, each.kept});
  if (isMeant && !endProgram())
    return tell(kExitFailure, "Sonmere runs and could not be ended; nothing was removed");
  bool hasFailed = false;
  for (auto& [footprint, problem] : rows) {
    if (!isMeant || !problem.empty()) continue;
    if (const auto removed = removeFootprint(footprint); !removed) problem = removed.error().description;
    hasFailed |= !problem.empty();
  }
  json ? showJSON(rows, isDryRun) : showText(rows, recordings.back(), isDryRun);
  return hasFailed ? kExitFailure : kExitSuccess;
}

}  // namespace sonmere
