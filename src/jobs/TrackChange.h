#pragma once

#include <optional>

#include "base/Error.h"
#include "editor/export/Loudness.h"
#include "editor/track/MixTrackInput.h"
#include "jobs/JobContext.h"
#include "jobs/TimeRange.h"

namespace sonmere {

// A gain that is found by measuring: with it the loudness is `targetLUFS`, or without one the peak is at -0.5
// dBFS.
struct Normalising {
  std::optional<double> targetLUFS = {};  // -70 to 0
};

// What is done to a track; what is missing stays as it is.
struct TrackChange {
  std::optional<TimeRange> trim = {};
  std::optional<double> fadeIn = {}, fadeOut = {};  // seconds
  std::optional<double> gainDb = {};                // or
  std::optional<Normalising> normalising = {};

  bool isEmpty() const { return !trim && !fadeIn && !fadeOut && !gainDb && !normalising; }
};

// All but the normalising, which reads the file. What does not fit the file is held to it, and noted.
Outcome<void> applyChange(const TrackChange& change, TrimRange& range, ExportProgress& progress);
// The normalising, of what is kept then.
Outcome<void> normaliseTrack(const Normalising& normalising, MixTrackInput& track, ExportProgress& progress);

// The parts of it that are for more than one track. What is held is noted.
float gainOfDecibels(double decibels, ExportProgress& progress);
// The gain for audio of this loudness at gain 1.
float gainForLoudness(const Loudness& loudness, double targetLUFS, ExportProgress& progress);

}  // namespace sonmere
