#pragma once

#include <cstdint>

#include "editor/track/PlainWav.h"

namespace sonmere {

// The RMS of each of `bins` bins of `frames` interleaved frames, to levels[channel][bin]; 1 is full scale.
// Samples that are no numbers count as silence. Threads: any.
void findBinLevels(PlainWav::Encoding encoding, const std::uint8_t* samples, std::size_t channels,
                   std::size_t frames, std::size_t bins, float* const* levels);

}  // namespace sonmere
