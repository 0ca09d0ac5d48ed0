#pragma once

#include <cstdint>

namespace sonmere {

// A non-destructive edit of one file: what is kept of it, and how loud. Positions are frames of the file.
struct TrimRange {
  std::int64_t startFrame = 0;
  std::int64_t endFrame = 0;  // one past the last frame kept
  std::int64_t fadeInFrames = 0;
  std::int64_t fadeOutFrames = 0;
  float gainLinear = 1;
  std::int64_t totalFrames = 0;  // of the file; fixed
  double sampleRate = 0;         // Hz; fixed

  // The whole file, unchanged.
  static TrimRange whole(std::int64_t totalFrames, double sampleRate) {
    return {.endFrame = totalFrames, .totalFrames = totalFrames, .sampleRate = sampleRate};
  }
  std::int64_t length() const { return endFrame - startFrame; }
  bool operator==(const TrimRange&) const = default;
};

}  // namespace sonmere
