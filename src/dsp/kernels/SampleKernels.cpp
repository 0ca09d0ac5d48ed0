#include "dsp/kernels/SampleKernels.h"

#include <bit>
#include <cstring>

namespace sonmere {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are copied in the machine's byte order");

constexpr float kScale16 = 32768, kScale24 = 8388608;

float fromInt16(const std::uint8_t* bytes) {
  std::int16_t value;
  std::memcpy(&value, bytes, sizeof value);
  return float(value) * (1 / kScale16);
}

float fromInt24(const std::uint8_t* bytes) {
  const auto value = std::int32_t(std::uint32_t(bytes[0]) << 8 | std::uint32_t(bytes[1]) << 16 |
                                  std::uint32_t(bytes[2]) << 24) >>
                     8;
  return float(value) * (1 / kScale24);
}

}  // namespace

void planeFromInt16(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept {
  if (channels == 1) {
    for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt16(samples + 2 * i);
  } else {
    for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt16(samples + 2 * channels * i);
  }
}

void planeFromInt24(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt24(samples + 3 * channels * i);
}

void planeFromFloat32(const std::uint8_t* samples, std::size_t channels, float* plane,
                      std::size_t count) noexcept {
  if (channels == 1) {
    std::memcpy(plane, samples, count * sizeof *plane);
  } else {
    for (std::size_t i = 0; i < count; ++i)
      std::memcpy(plane + i, samples + sizeof *plane * channels * i, sizeof *plane);
  }
}

}  // namespace sonmere
