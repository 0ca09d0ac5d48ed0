#pragma once

#include <cstdint>
#include <optional>

#include "audio/file/PCMBuffer.h"
#include "editor/track/TrimRange.h"

namespace sonmere {

// Applies a range's fades and gain in place to a block that starts `offset` frames after the range's start.
// Both fades are straight lines in float32: at p frames after the start the fade-in is p / fadeInFrames, so
// that its first sample is silent, and the fade-out falls from 1 at its first sample. Overlapping fades
// multiply. A sample whose gain is exactly 1 keeps its bits.
void applyFadesAndGain(const TrimRange& range, std::int64_t offset, PCMBuffer& buffer);
// The gain of a whole block of `frames` frames there, if it is one.
std::optional<float> steadyGain(const TrimRange& range, std::int64_t offset, std::int64_t frames);

}  // namespace sonmere
