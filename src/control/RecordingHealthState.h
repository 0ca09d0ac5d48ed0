#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recording/WriterFailure.h"

namespace sonmere {

// How the recordings of this run have fared.
struct RecordingHealthState {
  std::vector<std::string> notices;     // what holds now, as texts for the user
  std::int64_t failureCount = 0;        // files that could not be written any further
  std::vector<WriterFailure> failures;  // the latest of them
};

}  // namespace sonmere
