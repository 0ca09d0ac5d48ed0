#pragma once

#include <optional>
#include <string>

#include "audio/device/Folders.h"

namespace sonmere {

// Where this user's files are. Threads: any.
Folders userFolders();
std::string userSettingsFile();
// The user's presets.
std::string userPresetsFolder();
// The user's trash.
std::string userTrash();

// Where the lock of the one program and its control socket are, as every program of the user finds it:
// "sonmere" in the folder of the user's session, or where that is missing or of another user, "control" in
// the folder of the program's state.
struct ControlFolder {
  std::string path;
  std::optional<std::string> note;  // for the user: why not in the folder of the session, and what to do
};
ControlFolder chooseControlFolder();
std::string userControlFolder();

// Why this program must not write to the folders of the environment, and what to do: they are another user's,
// as with "sudo -E", and that user could no longer write to them.
std::optional<std::string> foreignHomeText();

}  // namespace sonmere
