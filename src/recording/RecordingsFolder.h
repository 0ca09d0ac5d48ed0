#pragma once

#include <optional>
#include <string>

#include "recording/RecordingContext.h"
#include "recording/RecordingsFolderState.h"

namespace sonmere {

// Where recordings go. Main thread; what does not read the settings may be asked on any.
class RecordingsFolder {
 public:
  static constexpr const char* kPathKey = "sonmere.recordingsFolderPath";

  explicit RecordingsFolder(const RecordingContext& context) : context_(context) {}

  // The folder for a new recording, made where missing. A chosen folder that can't be used is passed over for
  // the default one, so that no recording is lost to a missing drive; the error is that of the default one.
  Outcome<std::string> current() const;
  // This folder, made where missing; the error says why it can't be used, and leaves nothing behind.
  Outcome<std::string> usable(const std::string& folder) const;
  // As the settings have it, where they count; nothing while the default one is meant.
  std::optional<std::string> chosen() const;
  // Where recordings go when no folder is chosen.
  const std::string& defaultFolder() const {
    return context_.onlyFolder ? *context_.onlyFolder : context_.folders.defaultRecordings;
  }
  // Which folder is in force when this one is chosen, or none. Makes nothing but the file of the write test,
  // in a folder that is there. Threads: any.
  RecordingsFolderState state(const std::optional<std::string>& chosenFolder) const;
  // Makes a file in the folder and takes it away again. Threads: any.
  Outcome<void> writeTest(const std::string& folder) const;

 private:
  // Makes the folder where missing and tries to write there; after an error nothing is left behind.
  Outcome<void> makeUsable(const std::string& folder) const;

  const RecordingContext context_;
};

// Whether the path is a folder that this user may write to; for one that isn't there yet the nearest folder
// above it decides, but a link that leads nowhere makes no folder. Makes nothing. Threads: any.
bool isFolderUsable(const std::string& folder);

// Whether two paths name different folders, once symbolic links are resolved.
bool areDifferentFolders(const std::string& a, const std::string& b);

}  // namespace sonmere
