#pragma once

#include <string>

namespace sonmere {

// Which folder is in force.
struct RecordingsFolderState {
  std::string inUse;           // where recordings go now, and are looked for
  bool isUnavailable = false;  // a chosen folder is set and can't be used

  bool operator==(const RecordingsFolderState&) const = default;
};

// What the user is told of it. The default folder is shown as "~/..." when it is in the user's home.

// While the chosen folder can't be used.
std::string recordingsFolderUnavailableText(const std::string& defaultFolder);
// When a folder is chosen that isn't there now.
std::string pickedFolderUnavailableText(const std::string& defaultFolder);
// When a folder is refused.
inline constexpr const char* kFolderRefusedText = "Sonmere can't save recordings in this folder";

}  // namespace sonmere
