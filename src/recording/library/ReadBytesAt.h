#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace sonmere {

// Reads bytes at a position of a file; fewer than asked for at its end or after an error.
using ReadBytesAt = std::function<std::size_t(std::uint64_t position, std::span<std::uint8_t> bytes)>;

// Reads through a descriptor that stays open meanwhile; its own position is left alone.
ReadBytesAt readBytesOf(int descriptor);

}  // namespace sonmere
