#pragma once

#include <cstddef>
#include <cstdint>

namespace sonmere {

// Feeds bytes to the reader of session edits; aborts when what was read is not what is read again after a
// save, or when a save over the bytes makes no document.
void fuzzSidecar(const std::uint8_t* data, std::size_t size);

}  // namespace sonmere
