#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jobs/OpenSession.h"
#include "jobs/TrackChange.h"

namespace sonmere {

// A change of the edits of a session's tracks, whose files stay as they are.
struct SessionChange {
  std::vector<std::string> tracks = {};  // by name or file
  bool all = false;                      // of them
  TrackChange change = {};
  std::optional<bool> mute = {}, solo = {};
  bool reset = false;  // takes all edits back, before those that are named here

  bool isEmpty() const { return change.isEmpty() && !mute && !solo && !reset; }
};

// Writes it to the file beside the recordings. What the change does not name stays as another program may
// have left it meanwhile. The session then shows what is on disk.
Outcome<void> changeSession(OpenSession& open, const SessionChange& change, const JobContext& context);

}  // namespace sonmere
