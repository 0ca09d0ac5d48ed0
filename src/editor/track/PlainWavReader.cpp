#include "editor/track/PlainWavReader.h"

#include <algorithm>

#include "dsp/kernels/Kernels.h"
#include "dsp/kernels/SampleKernels.h"

namespace sonmere {

namespace {

constexpr std::size_t kPieceBytes = 64 << 10;

void convert(PlainWav::Encoding encoding, const std::uint8_t* bytes, PCMBuffer& buffer, std::uint32_t from,
             std::uint32_t frames) {
  const std::uint32_t channels = buffer.format().channels;
  if (channels == 2 && encoding == PlainWav::Encoding::int16)
    return kernels().stereoFromInt16(bytes, buffer.channel(0) + from, buffer.channel(1) + from, frames);
  const auto plane = [&](auto&& planeFrom, std::size_t sampleBytes) {
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      planeFrom(bytes + channel * sampleBytes, channels, buffer.channel(channel) + from, frames);
  };
  switch (encoding) {
    case PlainWav::Encoding::int16:
      return plane(planeFromInt16, 2);
    case PlainWav::Encoding::int24:
      return plane(planeFromInt24, 3);
    case PlainWav::Encoding::float32:
      return plane(planeFromFloat32, 4);
  }
}

}  // namespace

PlainWavReader::PlainWavReader(PlainWav wav, std::string path) : piece_(std::move(wav), std::move(path)) {}

Outcome<void> PlainWavReader::seek(std::int64_t frame) {
  frame = std::clamp<std::int64_t>(frame, 0, frameCount());
  // A short loop stays within one piece, which need not be read anew.
  const std::int64_t frameBytes = piece_.wav().bytesPerFrame();
  const std::int64_t pieceStart = position_ - std::int64_t(bytes_.size()) / frameBytes;
  if (frame >= pieceStart && frame < position_) {
    taken_ = std::size_t((frame - pieceStart) * frameBytes);
  } else {
    position_ = frame;
    bytes_ = {};
    taken_ = 0;
  }
  return {};
}

template <class Use>
Outcome<std::uint32_t> PlainWavReader::take(std::uint32_t frames, Use&& use) {
  const std::uint32_t frameBytes = piece_.wav().bytesPerFrame();
  std::uint32_t done = 0;
  while (done < frames) {
    if (taken_ == bytes_.size()) {
      if (auto filled = refill(); !filled) return std::unexpected(filled.error());
      if (bytes_.empty()) break;
    }
    const auto count =
        std::uint32_t(std::min<std::size_t>(frames - done, (bytes_.size() - taken_) / frameBytes));
    use(bytes_.data() + taken_, done, count);
    taken_ += std::size_t(count) * frameBytes;
    done += count;
  }
  return done;
}

Outcome<void> PlainWavReader::read(PCMBuffer& buffer, std::uint32_t frames) {
  const auto done = take(std::min(frames, buffer.frameCapacity()),
                         [&](const std::uint8_t* bytes, std::uint32_t from, std::uint32_t count) {
                           convert(piece_.wav().encoding, bytes, buffer, from, count);
                         });
  if (!done) return std::unexpected(done.error());
  buffer.setFrameLength(*done);
  return {};
}

Outcome<bool> PlainWavReader::addNextTo(PCMBuffer& mix, float gain) {
  if (piece_.wav().encoding != PlainWav::Encoding::int16 || format().channels != 2 ||
      mix.format().channels != 2)
    return false;
  const auto done =
      take(mix.frameLength(), [&](const std::uint8_t* bytes, std::uint32_t from, std::uint32_t count) {
        kernels().addStereoFromInt16(bytes, gain, mix.channel(0) + from, mix.channel(1) + from, count);
      });
  if (!done) return std::unexpected(done.error());
  return true;
}

Outcome<void> PlainWavReader::refill() {
  bytes_ = {};
  taken_ = 0;
  const std::uint32_t frameBytes = piece_.wav().bytesPerFrame();
  const auto read = piece_.read(position_, std::max<std::int64_t>(kPieceBytes / frameBytes, 1));
  if (!read) return std::unexpected(read.error());
  bytes_ = *read;
  position_ += std::int64_t(bytes_.size() / frameBytes);
  return {};
}

}  // namespace sonmere
