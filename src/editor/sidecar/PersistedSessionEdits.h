#pragma once

#include <map>
#include <string>
#include <vector>

#include "editor/sidecar/PersistedTrackEdits.h"

namespace sonmere {

// The edits of a session. Files are known by their names within the session's folder.
struct PersistedSessionEdits {
  static constexpr int kSchemaVersion = 1;

  int schemaVersion = kSchemaVersion;
  std::string sessionTimestamp;                       // the stamp of the session
  std::map<std::string, PersistedTrackEdits> tracks;  // by file name
  // Files of the folder that the user added to a session, by its stamp.
  std::map<std::string, std::vector<std::string>> addedTracks;

  bool operator==(const PersistedSessionEdits&) const = default;
};

}  // namespace sonmere
