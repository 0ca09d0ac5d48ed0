#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Time.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// What one look at the recordings folder found and did.
struct RecordingScan {
  // An interrupted recording that was mended, or that could not be.
  struct Repair {
    std::string name;  // without the folder
    std::uint64_t audioBytes = 0;
    std::optional<Error> error;
  };
  std::vector<RecordingSession> sessions;  // the newest first
  std::vector<Repair> repairs;
  std::optional<Error> error;  // why the folder can't be listed; one that isn't there is just empty
  // How long until the next interrupted recording has rested enough to be mended.
  std::optional<Duration> nextRepairIn;
};

}  // namespace sonmere
