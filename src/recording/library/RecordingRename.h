#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Errors of the POSIX domain come from the system; those of this one are in the names.
inline constexpr const char* kRecordingRenameDomain = "RecordingRename";

// Whether it can stand in front of a stamp.
Outcome<void> checkRecordingName(const std::string& name);

// Gives the recording at `path` another name in front of its stamp, in the same folder; without `keepsStamp`
// the name stands alone with the extension, and the file is no recording to the library any more. Replaces
// nothing. Returns the new path. Threads: any but a render thread.
Outcome<std::string> renameRecording(const std::string& path, const std::string& newName, bool keepsStamp);

}  // namespace sonmere
