#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "cli/FileWork.h"
#include "cli/UserSettings.h"
#include "editor/export/Loudness.h"
#include "editor/sidecar/SessionTracks.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// A session of the recordings with its edits, for a command. Main thread.
struct OpenSession {
  std::string folder;
  RecordingSession session;
  std::vector<SessionTrack> tracks;
  // A mix has the rate of the session's first file that can be read, whether that is heard or not.
  double sampleRate() const {
    const auto first =
        std::ranges::find_if(tracks, [](const SessionTrack& track) { return !track.unreadable; });
    return first == tracks.end() ? 0 : first->input.range.sampleRate;
  }
  std::vector<std::string> urls() const {
    std::vector<std::string> urls;
    for (const SessionTrack& track : tracks) urls.push_back(track.input.url);
    return urls;
  }
  std::vector<MixTrackInput> audible() const {
    std::vector<MixTrackInput> inputs;
    for (const SessionTrack& track : tracks)
      if (track.isAudible && !track.unreadable) inputs.push_back(track.input);
    return inputs;
  }
};

// The session of a stamp, or of its beginning where only one begins so, in `folder` or that of the settings.
// Files that can't be read are noted in the work's progress.
Outcome<OpenSession> openSession(FileWork& work, const std::string& stamp,
                                 const std::optional<std::string>& folder, const UserSettings& settings);

// Prints the tracks as a table or as JSON.
void printSession(const OpenSession& open, const std::optional<Loudness>& loudness,
                  const std::vector<std::string>& notes, bool json);

}  // namespace sonmere
