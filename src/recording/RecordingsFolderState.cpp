#include "recording/RecordingsFolderState.h"

#include <cstdlib>

namespace sonmere {

namespace {

std::string shownPath(const std::string& path) {
  const char* home = std::getenv("HOME");
  const std::string prefix = home && *home ? std::string(home) + "/" : "";
  return !prefix.empty() && path.starts_with(prefix) ? "~/" + path.substr(prefix.size()) : path;
}

std::string unavailableText(const char* which, const std::string& defaultFolder) {
  return std::string(which) +
         " folder isn't available right now. Is the drive connected? Until it's back, new recordings are "
         "saved "
         "to " +
         shownPath(defaultFolder);
}

}  // namespace

std::string recordingsFolderUnavailableText(const std::string& defaultFolder) {
  return unavailableText("Your recordings", defaultFolder);
}

std::string pickedFolderUnavailableText(const std::string& defaultFolder) {
  return unavailableText("This", defaultFolder);
}

}  // namespace sonmere
