#include "audio/file/SampleEncoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace sonmere {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are copied in the machine's byte order");

template <int bits>
std::int32_t toInteger(float sample) {
  constexpr double kScale = double(1u << (bits - 1));
  if (std::isnan(sample)) return 0;
  return std::int32_t(std::lrint(std::clamp(double(sample) * kScale, -kScale, kScale - 1)));
}

// Bytes 0 to `bytes` - 1 of what `convert` makes of each sample.
template <int bytes, class Convert>
void encodeWith(const PCMBuffer& buffer, std::uint8_t* out, Convert convert) {
  const std::uint32_t channels = buffer.format().channels;
  for (std::uint32_t channel = 0; channel < channels; ++channel) {
    const float* in = buffer.channel(channel);
    std::uint8_t* to = out + std::size_t(channel) * bytes;
    for (std::uint32_t frame = 0; frame < buffer.frameLength(); ++frame) {
      const auto value = convert(in[frame]);
      static_assert(sizeof value >= bytes);
      std::memcpy(to, &value, bytes);
      to += std::size_t(channels) * bytes;
    }
  }
}

}  // namespace

void encodeSamples(const PCMBuffer& buffer, const AudioFileSettings& settings,
                   std::vector<std::uint8_t>& out) {
  out.resize(std::size_t(buffer.frameLength()) * buffer.format().channels *
             std::size_t(settings.bitDepth / 8));
  if (settings.isFloat) {
    encodeWith<4>(buffer, out.data(), [](float sample) { return sample; });
  } else if (settings.bitDepth == 16) {
    encodeWith<2>(buffer, out.data(), toInteger<16>);
  } else if (settings.bitDepth == 24) {
    encodeWith<3>(buffer, out.data(), toInteger<24>);
  } else {
    encodeWith<4>(buffer, out.data(), toInteger<32>);
  }
}

}  // namespace sonmere
