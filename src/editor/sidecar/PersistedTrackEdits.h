#pragma once

#include <cstdint>
#include <optional>

namespace sonmere {

// What the user did to one track of a session, as it is stored. Nothing is checked against the file yet.
struct PersistedTrackEdits {
  std::int64_t trimStartFrame = 0;
  std::optional<std::int64_t> trimEndFrame;  // nothing: the file's length
  std::int64_t fadeInFrames = 0;
  std::int64_t fadeOutFrames = 0;
  float gainLinear = 1;
  bool soloed = false;
  bool muted = false;

  bool operator==(const PersistedTrackEdits&) const = default;
};

}  // namespace sonmere
