#pragma once

namespace sonmere {

// The rate where none can be read, and how near two rates count as one, in Hz.
constexpr double kFallbackRate = 48000.0;
constexpr double kSameRateHz = 1.0;

}  // namespace sonmere
