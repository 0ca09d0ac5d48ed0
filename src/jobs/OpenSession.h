#pragma once

#include <string>
#include <vector>

#include "base/Error.h"
#include "editor/export/Loudness.h"
#include "editor/sidecar/SessionTracks.h"
#include "jobs/JobContext.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// A session of the recordings with its edits, as they are on disk.
struct OpenSession {
  std::string folder;
  RecordingSession session;
  std::vector<SessionTrack> tracks;

  // A mix has the rate of the session's first file that can be read, whether that is heard or not.
  double sampleRate() const;
  std::vector<std::string> urls() const;
  std::vector<MixTrackInput> audible() const;
  // One that should be heard and gives no audio, or nothing.
  const SessionTrack* unreadableInMix() const;
};

// The session that a text means (see RecordingChoice.h). Files that can't be read are noted.
Outcome<OpenSession> openSession(const std::string& folder, const std::string& choice,
                                 const JobContext& context);
// Whether the mix would be what it should. What should be heard and can't be would be missing from it, which
// is not what was asked for: JobFault::unreadableTrack.
Outcome<void> checkMix(const OpenSession& open);
// How loud the mix is.
Outcome<Loudness> measureMix(const OpenSession& open, const JobContext& context);

}  // namespace sonmere
