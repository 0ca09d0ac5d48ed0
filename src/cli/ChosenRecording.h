#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "cli/FileWork.h"
#include "recording/library/RecordingScan.h"

namespace sonmere {

// The recordings that commands choose from: those of `--folder`, else of the folder in force, looked through
// now. The error is for the user.
Outcome<RecordingScan> recordingsToChooseFrom(FileWork& work, const std::optional<std::string>& folder);

// The path of a recording that is to be changed: one of the list, or what a path leads to.
Outcome<std::string> chosenRecording(FileWork& work, const std::string& argument,
                                     const std::optional<std::string>& folder);

// The path that a FILE argument means: "-" is what comes in at standard input; a path to a file that is
// there, else a recording by its name, its number in the list or "latest". Names without "/" mean a file of
// the current folder first, but "latest" and numbers always the list.
Outcome<std::string> chosenFile(FileWork& work, const std::string& argument);

}  // namespace sonmere
