#include "cli/RecordingsCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/PlatformFolders.h"
#include "cli/ArgumentText.h"
#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/RecordingsPrinter.h"
#include "cli/RunningProgram.h"
#include "cli/Text.h"
#include "cli/UserLibrary.h"
#include "control/VolumeText.h"
#include "jobs/ImportJob.h"
#include "jobs/RecordingJobs.h"
#include "recording/import/ImportFileName.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

struct Place {
  std::string folder;
  bool isUnavailable = false;  // that of the settings
};

// The folder that the arguments name, else the one in force.
Outcome<Place> placeOf(const RecordingsArguments& arguments, const FileWork& work) {
  if (arguments.folder) {
    auto folder = readFolder("--folder", *arguments.folder);
    if (!folder) return std::unexpected(folder.error());
    std::error_code ignored;
    if (!fs::is_directory(*folder, ignored))
      return badArgument(fmt::format("--folder {}: there is no such folder", *folder));
    return Place{std::move(*folder), false};
  }
  auto user = UserLibrary::open(work.warn());
  if (!user) return std::unexpected(user.error());
  const RecordingsLibrary& library = (*user)->library();
  if (*library.folderUnavailable)
    work.tell(kExitSuccess, recordingsFolderUnavailableText(library.defaultFolder()));
  return Place{*library.folderInUse, *library.folderUnavailable};
}

// Scans, prints, and says whether all went well.
template <class Print>
int scanAndPrint(const char* command, const RecordingsArguments& arguments, Print&& print) {
  FileWork work(command, "Scanning", arguments.json);
  const auto place = placeOf(arguments, work);
  if (!place) return work.fail(place.error());
  const auto scan = scanRecordings(place->folder, work.context());
  if (!scan) return work.fail(scan.error());
  work.show(1);
  print(*place, *scan);
  const bool isWhole =
      std::ranges::none_of(scan->repairs, [](const auto& repair) { return repair.error.has_value(); });
  return isWhole ? kExitSuccess : kExitFailure;
}

// Where a new file goes: made where missing.
Outcome<std::string> folderForNewFile(const RecordingsArguments& arguments, const FileWork& work) {
  if (arguments.folder) {
    auto place = placeOf(arguments, work);
    if (!place) return std::unexpected(place.error());
    return place->folder;
  }
  auto user = UserLibrary::open(work.warn());
  if (!user) return std::unexpected(user.error());
  RecordingsLibrary& library = (*user)->library();
  auto folder = library.recordingsFolder();
  if (*library.folderUnavailable)
    work.tell(kExitSuccess, recordingsFolderUnavailableText(library.defaultFolder()));
  return folder;
}

void printPath(const RecordingsArguments& arguments, const char* what, const std::string& path,
               const std::vector<std::string>& notes = {}) {
  if (!arguments.json) {
    fmt::print("{} {}\n", what, printable(path));
    return;
  }
  nlohmann::ordered_json all{{"path", path}};
  if (!notes.empty()) all["notes"] = notes;
  printJSON(all);
}

// What was done before something failed is told too.
void printPaths(const RecordingsArguments& arguments, const char* what,
                const std::vector<std::string>& paths) {
  if (arguments.json && !paths.empty()) printJSON({{"paths", paths}});
  if (!arguments.json)
    for (const std::string& path : paths) fmt::print("{} {}\n", what, printable(path));
}

void printFolder(const RecordingsArguments& arguments, RecordingsLibrary& library) {
  const auto chosen = library.chosenFolder();
  if (!arguments.json) {
    fmt::print("{}{}\n", printable(*library.folderInUse), chosen ? "" : " (the default)");
    return;
  }
  using JSON = nlohmann::ordered_json;
  const JSON all{{"folder", *library.folderInUse},
                 {"chosen", chosen ? JSON(*chosen) : JSON(nullptr)},
                 {"default", library.defaultFolder()},
                 {"unavailable", *library.folderUnavailable}};
  printJSON(all);
}

// A program that runs takes it up at once; what it has to say was said here already.
Outcome<void> tellProgram(RecordingsLibrary& library) {
  auto program = programWithTheseSettings();
  if (!program) return {};
  ControlJSON params{{"key", RecordingsFolder::kPathKey}};
  const auto chosen = library.chosenFolder();
  if (chosen) params["value"] = ControlJSON::parse(settingsValueToJSON(*chosen));
  const auto told = program->call(chosen ? "settings.set" : "settings.reset", params);
  return told ? Outcome<void>() : std::unexpected(told.error());
}

// Changes the setting; returns the exit status.
int changeFolder(FileWork& work, UserLibrary& user, const RecordingsArguments& arguments) {
  RecordingsLibrary& library = user.library();
  if (arguments.useDefault) {
    library.useDefaultFolder();
  } else {
    const auto folder = readFolder("PATH", *arguments.newFolder);
    if (!folder) return work.badInput(folder.error());
    const auto choice = library.chooseFolder(*folder);
    if (choice == RecordingsLibrary::Choice::refused)
      return work.tell(kExitBadInput, fmt::format("{}: {}", kFolderRefusedText, *folder));
    if (choice == RecordingsLibrary::Choice::absent)
      work.tell(kExitSuccess, pickedFolderUnavailableText(library.defaultFolder()));
  }
  if (const auto saved = user.save(); !saved) return work.fail(saved.error());
  if (const auto told = tellProgram(library); !told) return work.fail(told.error());
  return kExitSuccess;
}

}  // namespace

int runRecordingsList(const RecordingsArguments& arguments) {
  return scanAndPrint("recordings list", arguments, [&](const Place& place, const RecordingScan& scan) {
    if (arguments.json)
      fmt::print("{}", scanJSON(place.folder, place.isUnavailable, scan));
    else
      fmt::print("{}{}", sessionsText(place.folder, scan), repairsText(scan));
  });
}

int runRecordingsScan(const RecordingsArguments& arguments) {
  return scanAndPrint("recordings scan", arguments, [&](const Place& place, const RecordingScan& scan) {
    if (arguments.json)
      fmt::print("{}", scanJSON(place.folder, place.isUnavailable, scan));
    else
      fmt::print("{}{}", foundText(place.folder, scan), repairsText(scan));
  });
}

int runRecordingsRepair(const RecordingsArguments& arguments) {
  return scanAndPrint("recordings repair", arguments, [&](const Place& place, const RecordingScan& scan) {
    const std::string text = repairsText(scan);
    if (arguments.json)
      fmt::print("{}", repairsJSON(place.folder, scan));
    else
      fmt::print("{}", text.empty() ? "Nothing to repair in " + printable(place.folder) + ".\n" : text);
  });
}

int runRecordingsRename(const RecordingsArguments& arguments) {
  FileWork work("recordings rename", "Renaming", arguments.json);
  const auto chosen = chosenRecording(work, arguments.file, arguments.folder);
  if (!chosen) return work.fail(chosen.error());
  const auto renamed = renameWithEdits(*chosen, arguments.name, !arguments.dropStamp, work.log());
  if (!renamed) return work.fail(renamed.error());
  printPath(arguments, "Renamed to", *renamed);
  return kExitSuccess;
}

int runRecordingsImport(const RecordingsArguments& arguments) {
  FileWork work("recordings import", "Importing", arguments.json);
  const auto folder = folderForNewFile(arguments, work);
  if (!folder) return work.fail(folder.error());
  ImportRequest request{arguments.file, *folder, arguments.session, arguments.newName};
  if (arguments.file == "-") {
    const auto input = work.standardInput();
    if (!input) return work.fail(input.error());
    request.source = *input;
    if (!request.name) request.name = kImportedAudioName;
  }
  const auto imported = importRecording(request, work.context());
  if (!imported) return work.fail(imported.error());
  work.tellNotes();
  printPath(arguments, "Imported as", *imported, work.notes());
  return kExitSuccess;
}

int runRecordingsDelete(const RecordingsArguments& arguments) {
  FileWork work("recordings delete", "Deleting", arguments.json);
  std::vector<std::string> paths;
  for (const std::string& each : arguments.files) {
    auto path = chosenRecording(work, each, arguments.folder);
    if (!path) return work.fail(path.error());
    if (std::ranges::find(paths, *path) == paths.end()) paths.push_back(std::move(*path));
  }
  const RecordingTrash trash(userTrash());
  for (const std::string& path : paths)
    if (const auto checked = checkRecording(path); !checked) return work.fail(checked.error());
  std::vector<std::string> moved;
  int status = kExitSuccess;
  for (const std::string& path : paths) {
    const auto put = moveToTrash(path, trash, work.runtime().wallTime());
    if (!put) {
      status = work.fail(put.error());
      break;
    }
    moved.push_back(*put);
  }
  printPaths(arguments, "Moved to the trash:", moved);
  return status;
}

int runRecordingsRestore(const RecordingsArguments& arguments) {
  FileWork work("recordings restore", "Restoring", arguments.json);
  const auto place = placeOf(arguments, work);
  if (!place) return work.fail(place.error());
  const RecordingTrash trash(userTrash());
  const auto found = trashedRecordings(place->folder, arguments.file, trash);
  if (found.empty())
    return work.fail({kArgumentErrorDomain, 1, "no such recording of this folder is in the trash"});
  std::vector<std::string> restored;
  int status = kExitSuccess;
  for (const RecordingTrash::Entry& entry : found) {
    if (const auto back = restoreFromTrash(entry, place->folder, trash); !back) {
      status = work.fail(back.error());
      break;
    }
    restored.push_back(entry.origin);
  }
  printPaths(arguments, "Restored", restored);
  return status;
}

int runRecordingsFolder(const RecordingsArguments& arguments) {
  FileWork work("recordings folder", "", arguments.json);
  auto user = UserLibrary::open(work.warn());
  if (!user) return work.fail(user.error());
  if (arguments.useDefault || arguments.newFolder) {
    const int status = changeFolder(work, **user, arguments);
    if (status != kExitSuccess) return status;
  } else if (*(*user)->library().folderUnavailable) {
    work.tell(kExitSuccess, recordingsFolderUnavailableText((*user)->library().defaultFolder()));
  }
  printFolder(arguments, (*user)->library());
  return kExitSuccess;
}

}  // namespace sonmere
