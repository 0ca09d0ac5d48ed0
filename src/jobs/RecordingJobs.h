#pragma once

#include <string>
#include <vector>

#include "base/Error.h"
#include "jobs/JobContext.h"
#include "recording/library/RecordingScan.h"
#include "recording/library/RecordingTrash.h"

namespace sonmere {

// Looks through a folder of recordings and mends the interrupted ones. The error is that of the folder.
Outcome<RecordingScan> scanRecordings(const std::string& folder, const JobContext& context);

// What is soon done, with recordings that are there; the folder is to be scanned again then. Threads: any but
// a render thread.

// Gives a recording another name, under which its edits are found from then on. Returns the new path.
Outcome<std::string> renameWithEdits(const std::string& path, const std::string& newName, bool keepsStamp,
                                     Log& log);
// Whether the name is that of a recording; nothing else is deleted.
Outcome<void> checkRecording(const std::string& path);
// Moves a recording to the trash; returns where it is then. Its edits stay, for the day it is restored.
// All parts of it go.
Outcome<std::string> moveToTrash(const std::string& path, const RecordingTrash& trash, Date now);
// Moves what was in this folder back there, with the parts that went with it.
Outcome<void> restoreFromTrash(const RecordingTrash::Entry& entry, const std::string& folder,
                               const RecordingTrash& trash);
// Recordings of this folder that are in the trash, the latest first: those whose name or stamp begins with
// `text`, or is called so; an empty one means the latest alone.
std::vector<RecordingTrash::Entry> trashedRecordings(const std::string& folder, const std::string& text,
                                                     const RecordingTrash& trash);

}  // namespace sonmere
