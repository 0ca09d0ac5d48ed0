#include "cli/ChosenRecording.h"

#include <algorithm>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/UserLibrary.h"
#include "jobs/RecordingJobs.h"
#include "recording/library/RecordingChoice.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

bool meansTheList(const std::string& text) {
  return text.starts_with("latest") ||
         std::ranges::all_of(text, [](char c) { return c == '.' || (c >= '0' && c <= '9'); });
}

Outcome<std::string> folderToLookIn(FileWork& work, const std::optional<std::string>& folder) {
  if (folder) return readFolder("--folder", *folder);
  auto user = UserLibrary::open(work.warn());
  if (!user) return std::unexpected(user.error());
  return *(*user)->library().folderInUse;
}

}  // namespace

Outcome<RecordingScan> recordingsToChooseFrom(FileWork& work, const std::optional<std::string>& folder) {
  const auto place = folderToLookIn(work, folder);
  if (!place) return std::unexpected(place.error());
  return scanRecordings(*place, work.context());
}

Outcome<std::string> chosenRecording(FileWork& work, const std::string& argument,
                                     const std::optional<std::string>& folder) {
  if (argument.find('/') != std::string::npos) return argument;
  const auto scan = recordingsToChooseFrom(work, folder);
  if (!scan) return std::unexpected(scan.error());
  const auto file = chooseRecording(scan->sessions, argument);
  if (!file) return badArgument(file.error().description);
  return (*file)->url;
}

Outcome<std::string> chosenFile(FileWork& work, const std::string& argument) {
  std::error_code ignored;
  if (argument == "-") return work.standardInput();
  const bool isHere = !meansTheList(argument) && fs::exists(argument, ignored);
  if (argument.empty() || isHere) return argument;
  auto chosen = chosenRecording(work, argument, std::nullopt);
  // A name with an extension was meant for a file.
  if (!chosen && fs::path(argument).has_extension() && !meansTheList(argument))
    return badArgument(argument + ": no such file");
  return chosen;
}

}  // namespace sonmere
