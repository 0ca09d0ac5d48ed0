#include "editor/export/StereoSource.h"

#include <algorithm>

namespace sonmere {

namespace {

void addScaled(const float* samples, float gain, float* sum, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count && gain != 0; ++i) sum[i] += gain * samples[i];
}

}  // namespace

StereoSource::StereoSource(std::unique_ptr<BlockSource> source, StereoDownmix downmix)
    : source_(std::move(source)),
      downmix_(std::move(downmix)),
      format_{source_->format().sampleRate, 2},
      block_(source_->format(), kSourceBlockFrames) {}

Outcome<void> StereoSource::read(PCMBuffer& buffer, std::uint32_t frames) {
  if (auto read = source_->read(block_, std::min(frames, buffer.frameCapacity())); !read) return read;
  const std::uint32_t count = block_.frameLength();
  buffer.setFrameLength(count);
  for (std::uint32_t side = 0; side < 2; ++side) std::fill_n(buffer.channel(side), count, 0.0f);
  for (std::uint32_t channel = 0; channel < block_.format().channels; ++channel) {
    const StereoDownmix::Gains& gains = downmix_.gains()[channel];
    addScaled(block_.channel(channel), gains.left, buffer.channel(0), count);
    addScaled(block_.channel(channel), gains.right, buffer.channel(1), count);
  }
  return {};
}

}  // namespace sonmere
