#pragma once

#include <cstddef>
#include <cstdint>

namespace sonmere {

// Feeds bytes to the control service's framing and parsing; aborts when an answer is no single line of JSON.
void fuzzControl(const std::uint8_t* data, std::size_t size);

}  // namespace sonmere
