#pragma once

#include <optional>

#include "base/Error.h"
#include "editor/track/TrimRange.h"

namespace sonmere {

// A part of a file in seconds; an end that is left out is the file's.
struct TimeRange {
  double from = 0;
  std::optional<double> until;
};

// This part of a file, whatever was kept of it before, in frames. An end beyond the file's is held to it; a
// part that has nothing of the file is JobFault::trim.
Outcome<TrimRange> trimTo(TrimRange range, const TimeRange& part);

}  // namespace sonmere
