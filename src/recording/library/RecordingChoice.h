#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/Error.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// A text that means nothing that is there, or several things.
inline constexpr const char* kRecordingChoiceDomain = "RecordingChoice";

// What users write for a session or a recording, in the order of the list: "latest" or "1" is the newest
// session, "2.3" the third file of the second one; else a stamp, or as much of its beginning as fits one
// session alone; for a recording also its name, its file's name, or the beginning of that. A session of one
// file stands for it. The result points into the sessions. Threads: any.
Outcome<const RecordingSession*> chooseSession(std::span<const RecordingSession> sessions,
                                               const std::string& text);
Outcome<const RecordingFile*> chooseRecording(std::span<const RecordingSession> sessions,
                                              const std::string& text);

}  // namespace sonmere
