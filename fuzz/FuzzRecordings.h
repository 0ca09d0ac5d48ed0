#pragma once

#include <cstddef>
#include <cstdint>

namespace sonmere {

// Takes bytes for the beginning of a recording of any size, or for its name; aborts when a repair is planned
// that would not leave a whole file, when reading it in windows gives anything else than reading it at once,
// or when a length is no length.
void fuzzRecordings(const std::uint8_t* data, std::size_t size);

}  // namespace sonmere
