#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Time.h"
#include "dsp/RingReport.h"

namespace sonmere {

// One snapshot of the program's internal buffers.
struct LatencyEntry {
  Date date{};
  std::int64_t uptime = 0;  // whole seconds since the probe was made
  std::vector<RingReport> rings;
};

// One line of the history file, without its end.
std::string latencyEntryToJSON(const LatencyEntry& entry);
// Nothing for a line that is damaged.
std::optional<LatencyEntry> latencyEntryFromJSON(std::string_view line);

}  // namespace sonmere
