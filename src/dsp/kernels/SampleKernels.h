#pragma once

#include <cstddef>
#include <cstdint>

namespace sonmere {

// Samples of files from and to planes of float32, for whole blocks at a time. Files are little-endian and
// interleaved; integers have full scale at 1.0 = 2^(bits - 1). All are exact. Threads: any.

// One channel of several: `samples` is its first one, further ones follow every `channels` samples.
void planeFromInt16(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept;
void planeFromInt24(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept;
void planeFromFloat32(const std::uint8_t* samples, std::size_t channels, float* plane,
                      std::size_t count) noexcept;

}  // namespace sonmere
