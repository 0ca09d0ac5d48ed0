#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "jobs/TrackChange.h"

namespace sonmere {

// What is done to a track, as it was typed; what is missing stays as it is.
struct TrackEditArguments {
  std::optional<std::string> trim, fadeIn, fadeOut, gain;
  std::optional<std::string> normalise;  // "peak" or a loudness in LUFS

  bool isEmpty() const { return !trim && !fadeIn && !fadeOut && !gain && !normalise; }
};

Outcome<TrackChange> readTrackChange(const TrackEditArguments& arguments);

// An error of the work, with the option that it is about in front.
Error withOption(Error error, const TrackEditArguments& arguments);

}  // namespace sonmere
