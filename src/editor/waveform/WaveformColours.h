#pragma once

#include <cstdint>

namespace sonmere::WaveformColours {

// 0xRRGGBB.
inline constexpr std::uint32_t kBackground = 0x10151C;
inline constexpr std::uint32_t kLane = 0x18202A;
inline constexpr std::uint32_t kWave = 0x4FC3B0;
inline constexpr std::uint32_t kCentre = 0x2E5F5B;
inline constexpr std::uint32_t kClipped = 0xFF6B5E;
inline constexpr std::uint32_t kAxis = 0x4A5866;
inline constexpr std::uint32_t kLabel = 0x9FB0BF;

}  // namespace sonmere::WaveformColours
