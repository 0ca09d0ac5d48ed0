#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "editor/sidecar/PersistedSessionEdits.h"
#include "editor/track/MixTrackInput.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// A track of a session as its edits have left it.
struct SessionTrack {
  MixTrackInput input;
  std::optional<Error> unreadable;  // why the file gives no audio; the range is then empty
  std::string name;                 // as the library shows it
  bool soloed = false;
  bool muted = false;
  bool isAudible = true;
};

// The tracks of a session: its files and those that were added to it. Without edits a track is its whole
// file, and an added file that is gone is left out. What of the edits is not possible in the file is held to
// it. A file that can't be read is a track all the same. Threads: any but a render thread.
std::vector<SessionTrack> sessionTracks(const RecordingSession& session,
                                        const std::optional<PersistedSessionEdits>& edits);

}  // namespace sonmere
