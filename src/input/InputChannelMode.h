#pragma once

#include <cstdint>

namespace sonmere {

// Which channels of an input device become left and right. The raw values are stored.
enum class InputChannelMode : std::uint8_t { automatic = 0, input1 = 1, input2 = 2, stereo = 3, custom = 4 };

constexpr bool isInputChannelMode(std::int64_t raw) { return raw >= 0 && raw <= 4; }

}  // namespace sonmere
