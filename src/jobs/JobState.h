#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Time.h"

namespace sonmere {

// Tells jobs apart, for as long as the program runs; never 0.
using JobID = std::uint64_t;

// A job as its users see it.
struct JobState {
  enum class Phase { waiting, running, done, failed, cancelled };

  JobID id = 0;
  std::string title;  // as it was given ("Import of a.wav")
  Phase phase = Phase::waiting;
  double fraction = 0;                    // of the work, 0 to 1
  std::optional<Duration> timeLeft = {};  // while it can be told
  std::vector<std::string> files = {};    // paths of what was made; none before it is done
  std::vector<std::string> notes = {};    // what the user should know of it; none before it has ended
  std::string error = {};                 // why it failed
  bool hasEnded() const { return phase >= Phase::done; }
  bool operator==(const JobState&) const = default;
};

}  // namespace sonmere
