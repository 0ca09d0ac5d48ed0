#pragma once

#include <string>
#include <vector>

#include "recording/library/RecordingSession.h"

namespace sonmere {

// The recordings that there are.
struct LibraryState {
  std::vector<RecordingSession> sessions;
  std::string folder;          // in use
  bool isUnavailable = false;  // the chosen folder is, and another is in use
  bool isScanning = false;
};

}  // namespace sonmere
