#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sonmere {

// What is kept in memory of what was just heard.
struct PrerollState {
  double seconds = 0;        // as it is set; 0: off
  double keptSeconds = 0;    // of the source that has least
  std::uint64_t bytes = 0;   // of memory
  std::vector<int> sources;  // as RecordedSource names them
  std::string refusal;       // why nothing is kept, or not all; empty: nothing is wrong

  bool operator==(const PrerollState&) const = default;
};

}  // namespace sonmere
