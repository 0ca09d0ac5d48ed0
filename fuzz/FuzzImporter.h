#pragma once

#include <cstddef>
#include <cstdint>

namespace sonmere {

// Opens the bytes as an audio file and converts it as an import does, then jumps about in it; aborts when
// more frames come than were asked for, or a format that no recording has. The first byte chooses the rate.
void fuzzImporter(const std::uint8_t* data, std::size_t size);

}  // namespace sonmere
