#pragma once

#include <cstdint>
#include <vector>

#include "audio/file/AudioFileSettings.h"
#include "audio/file/PCMBuffer.h"

namespace sonmere {

// Interleaves a buffer's frames as the little-endian samples that the settings ask for. Float32 keeps every
// bit. Integers have full scale at 1.0 = 2^(bits - 1), are rounded to nearest and clipped; NaN becomes 0.
void encodeSamples(const PCMBuffer& buffer, const AudioFileSettings& settings,
                   std::vector<std::uint8_t>& out);

}  // namespace sonmere
