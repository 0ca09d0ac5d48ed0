#include "cli/RecordingsCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/PlatformFolders.h"
#include "audio/file/AudioFileReader.h"
#include "cli/ArgumentText.h"
#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/RecordingsPrinter.h"
#include "cli/Text.h"
#include "cli/UserLibrary.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "recording/RecordingFileName.h"
#include "recording/import/AudioFileImporter.h"
#include "recording/library/RecordingChoice.h"
#include "recording/library/RecordingRename.h"
#include "recording/library/RecordingTrash.h"

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

RecordingScan scanWithBar(FileWork& work, const std::string& folder) {
  std::atomic<bool> isCancelled = false;
  return RecordingScanner(work.log()).scan(folder, VirtualRuntime::today(), &isCancelled, [&](double done) {
    if (work.show(done)) isCancelled = true;
  });
}

// Scans, prints, and says whether all went well.
template <class Print>
int scanAndPrint(const char* command, const RecordingsArguments& arguments, Print&& print) {
  FileWork work(command, "Scanning", arguments.json);
  const auto place = placeOf(arguments, work);
  if (!place) return work.fail(place.error());
  const RecordingScan scan = scanWithBar(work, place->folder);
  if (scan.error) return work.fail(*scan.error);
  if (work.show(1)) return work.fail({"RecordingsCommand", 1, "the scan was cancelled"});
  print(*place, scan);
  const bool isWhole =
      std::ranges::none_of(scan.repairs, [](const auto& repair) { return repair.error.has_value(); });
  return isWhole ? kExitSuccess : kExitFailure;
}

// Whether a recording in the trash is the one that a text means; an empty one means any.
bool isMeant(const RecordingTrash::Entry& entry, const std::string& text) {
  const std::string name = fs::path(entry.origin).filename().string();
  const auto parts = parseRecordingName(name);
  return parts && (name.starts_with(text) || parts->stamp.starts_with(text) ||
                   recordingDisplayName(parts->name) == text);
}

// The session that the import goes to, and the rate of its files.
struct Target {
  std::string stamp;
  double sampleRate = 0;
};

Outcome<Target> targetOf(const RecordingScan& scan, const std::string& wanted) {
  const auto session = chooseSession(scan.sessions, wanted);
  if (!session)
    return badArgument(fmt::format("--session {}: {}; see \"sonmere recordings list\"", wanted,
                                   session.error().description));
  const std::string& stamp = (*session)->timestampString;
  for (const RecordingFile& file : (*session)->files)
    if (const auto reader = openAudioFile(file.url)) return Target{stamp, (*reader)->format().sampleRate};
  return badArgument(fmt::format("--session {}: none of its files can be read", stamp));
}

Outcome<Target> targetOf(const RecordingsArguments& arguments, FileWork& work, const std::string& folder) {
  if (arguments.session) {
    const RecordingScan scan = scanWithBar(work, folder);
    if (work.show(1)) return std::unexpected(Error{"RecordingsCommand", 1, "the import was cancelled"});
    return targetOf(scan, *arguments.session);
  }
  const auto source = openAudioFile(arguments.file);
  if (!source) return badArgument(source.error().description);
  return Target{recordingStamp(VirtualRuntime::today()), (*source)->format().sampleRate};
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
  const std::string& path = *chosen;
  // Edits of a session know its files by their names.
  const auto renamed = SessionEditsSidecar(work.log()).renameFile(path, [&] {
    return renameRecording(path, arguments.name, !arguments.dropStamp);
  });
  if (!renamed) {
    const Error& error = renamed.error();
    const bool isInput =
        error.domain == kRecordingRenameDomain || error.code == ENOENT || error.code == ENOTDIR;
    return isInput ? work.badInput(error) : work.fail(error);
  }
  printPath(arguments, "Renamed to", *renamed);
  return kExitSuccess;
}

int runRecordingsImport(const RecordingsArguments& arguments) {
  FileWork work("recordings import", "Importing", arguments.json);
  const auto folder = folderForNewFile(arguments, work);
  if (!folder) return work.fail(folder.error());
  const auto target = targetOf(arguments, work, *folder);
  if (!target) return work.fail(target.error());
  const TaskToken cancel(std::make_shared<std::atomic<bool>>(false));
  AudioFileImporter::Request request{arguments.file, *folder, target->stamp, target->sampleRate};
  if (!arguments.session) request.newSession = &work.runtime();
  std::vector<std::string> notes;
  request.tell = [&](const std::string& note) {
    notes.push_back(note);
    work.tell(kExitSuccess, note);
  };
  const auto imported = AudioFileImporter(work.log()).importFile(request, cancel, [&](double done) {
    if (work.show(done)) cancel.cancel();
  });
  if (!imported) {
    const bool isInput = imported.error().domain == ImportError::kDomain &&
                         imported.error().code == ImportError::kSourceUnreadable;
    return isInput ? work.badInput(imported.error()) : work.fail(imported.error());
  }
  printPath(arguments, "Imported as", *imported, notes);
  return kExitSuccess;
}

int runRecordingsDelete(const RecordingsArguments& arguments) {
  FileWork work("recordings delete", "Deleting", arguments.json);
  std::vector<std::string> paths;
  for (const std::string& each : arguments.files) {
    auto path = chosenRecording(work, each, arguments.folder);
    if (!path) return work.fail(path.error());
    if (!parseRecordingName(fs::path(*path).filename().string()))
      return work.fail({"Arguments", 1, *path + ": its name is not that of a recording"});
    if (std::ranges::find(paths, *path) == paths.end()) paths.push_back(std::move(*path));
  }
  // Edits stay in the sidecar, for the day it is restored.
  for (const std::string& path : paths) {
    const auto put = RecordingTrash(userTrash()).put(path, VirtualRuntime::today());
    if (!put && put.error().code == ENOENT) return work.badInput(put.error());
    if (!put) return work.fail(put.error());
    printPath(arguments, "Moved to the trash:", *put);
  }
  return kExitSuccess;
}

int runRecordingsRestore(const RecordingsArguments& arguments) {
  FileWork work("recordings restore", "Restoring", arguments.json);
  const auto place = placeOf(arguments, work);
  if (!place) return work.fail(place.error());
  const RecordingTrash trash(userTrash());
  auto found = trash.entriesOf(place->folder);
  std::erase_if(found, [&](const auto& entry) { return !isMeant(entry, arguments.file); });
  if (found.empty()) return work.fail({"Arguments", 1, "no such recording of this folder is in the trash"});
  // Without a name: the one that was deleted last.
  if (arguments.file.empty()) found.resize(1);
  for (const RecordingTrash::Entry& entry : found) {
    if (const auto restored = trash.restore(entry); !restored) return work.fail(restored.error());
    printPath(arguments, "Restored", entry.origin);
  }
  return kExitSuccess;
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
