#pragma once

#include <cstdint>

namespace sonmere {

// Of a picture, 0xRRGGBB each: on a dark ground unless told otherwise.
struct WaveformColours {
  std::uint32_t background = 0x10151C, lane = 0x18202A, wave = 0x4FC3B0, body = 0xA9EBDF, centre = 0x2E5F5B;
  std::uint32_t clipped = 0xFF6B5E, axis = 0x4A5866, label = 0x9FB0BF, mark = 0xF2C14E;

  // For paper and light pages.
  static constexpr WaveformColours light() {
    return {.background = 0xFFFFFF,
            .lane = 0xF1F4F7,
            .wave = 0x4FA99B,
            .body = 0x0F5F54,
            .centre = 0xA9CFC8,
            .clipped = 0xC62828,
            .axis = 0x9AA5B1,
            .label = 0x3C4753,
            .mark = 0x8A5A00};
  }
};

}  // namespace sonmere
