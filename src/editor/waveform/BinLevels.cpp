#include "editor/waveform/BinLevels.h"

#include <cmath>
#include <cstring>

namespace sonmere {

namespace {

struct Int16 {
  static constexpr std::size_t kBytes = 2;
  static float sample(const std::uint8_t* bytes) {
    std::int16_t value;
    std::memcpy(&value, bytes, sizeof value);
    return float(value) / 32768;
  }
};

struct Int24 {
  static constexpr std::size_t kBytes = 3;
  static float sample(const std::uint8_t* bytes) {
    const auto value = std::int32_t(std::uint32_t(bytes[0]) << 8 | std::uint32_t(bytes[1]) << 16 |
                                    std::uint32_t(bytes[2]) << 24);
    return float(value) / 2147483648.0f;
  }
};

struct Float32 {
  static constexpr std::size_t kBytes = 4;
  static float sample(const std::uint8_t* bytes) {
    float value;
    std::memcpy(&value, bytes, sizeof value);
    return std::isfinite(value) ? value : 0;
  }
};

template <class Form>
void find(const std::uint8_t* samples, std::size_t channels, std::size_t frames, std::size_t bins,
          float* const* levels) {
  const std::size_t frameBytes = channels * Form::kBytes;
  for (std::size_t bin = 0; bin < bins; ++bin)
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const std::uint8_t* at = samples + bin * frames * frameBytes + channel * Form::kBytes;
      float squares = 0;
      for (std::size_t i = 0; i < frames; ++i, at += frameBytes) {
        const float sample = Form::sample(at);
        squares += sample * sample;
      }
      levels[channel][bin] = std::sqrt(squares / float(frames));
    }
}

}  // namespace

void findBinLevels(PlainWav::Encoding encoding, const std::uint8_t* samples, std::size_t channels,
                   std::size_t frames, std::size_t bins, float* const* levels) {
  switch (encoding) {
    case PlainWav::Encoding::int16:
      return find<Int16>(samples, channels, frames, bins, levels);
    case PlainWav::Encoding::int24:
      return find<Int24>(samples, channels, frames, bins, levels);
    case PlainWav::Encoding::float32:
      return find<Float32>(samples, channels, frames, bins, levels);
  }
}

}  // namespace sonmere
