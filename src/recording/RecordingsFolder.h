#pragma once

#include <string>

#include "recording/RecordingContext.h"

namespace sonmere {

// Where recordings go. Main thread.
class RecordingsFolder {
 public:
  static constexpr const char* kPathKey = "sonmere.recordingsFolderPath";

  explicit RecordingsFolder(const RecordingContext& context) : context_(context) {}

  // The folder for a new recording, made where missing. A chosen folder that can't be used is passed over for
  // the default one, so that no recording is lost to a missing drive; the error is that of the default one.
  Outcome<std::string> current() const;
  const std::string& defaultFolder() const { return context_.folders.defaultRecordings; }

 private:
  // Makes the folder where missing and tries to write there; after an error nothing is left behind.
  Outcome<void> makeUsable(const std::string& folder) const;
  Outcome<void> writeTest(const std::string& folder) const;

  const RecordingContext context_;
};

// Whether two paths name different folders, once symbolic links are resolved.
bool areDifferentFolders(const std::string& a, const std::string& b);

}  // namespace sonmere
