#include "editor/track/ResampledSource.h"

#include <algorithm>
#include <cmath>

#include "audio/file/StreamResampler.h"

namespace sonmere {

namespace {

// A source as the resampler takes it. It is read once from its beginning, so nothing seeks.
class SourceReader final : public AudioFileReader {
 public:
  explicit SourceReader(std::unique_ptr<BlockSource> source)
      : source_(std::move(source)), block_(source_->format(), kSourceBlockFrames) {}

  const PCMFormat& format() const override { return source_->format(); }
  ChannelLayout layout() const override { return source_->layout(); }
  std::int64_t frameCount() const override { return source_->length(); }
  const std::string& container() const override { return container_; }
  Outcome<void> seek(std::int64_t) override {
    return std::unexpected(Error{"ResampledSource", 1, "an edited track can't be sought in"});
  }

  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    if (taken_ == block_.frameLength()) {
      if (auto read = source_->read(block_, block_.frameCapacity()); !read)
        return std::unexpected(read.error());
      taken_ = 0;
    }
    const std::uint32_t count = std::min(frames, block_.frameLength() - taken_);
    const std::uint32_t channels = format().channels;
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      for (std::uint32_t frame = 0; frame < count; ++frame)
        interleaved[std::size_t(frame) * channels + channel] = block_.channel(channel)[taken_ + frame];
    taken_ += count;
    return count;
  }

 private:
  const std::unique_ptr<BlockSource> source_;
  PCMBuffer block_;
  std::uint32_t taken_ = 0;
  const std::string container_ = "edit";
};

std::int64_t scaledLength(const BlockSource& source, double sampleRate) {
  return std::llround(double(source.length()) * sampleRate / source.format().sampleRate);
}

}  // namespace

ResampledSource::ResampledSource(std::unique_ptr<BlockSource> source, double sampleRate)
    : format_{sampleRate, source->format().channels},
      length_(scaledLength(*source, sampleRate)),
      source_(source.get()),
      reader_(resampled(std::make_unique<SourceReader>(std::move(source)), format_)) {}

Outcome<void> ResampledSource::read(PCMBuffer& buffer, std::uint32_t frames) {
  frames =
      std::uint32_t(std::min<std::int64_t>(std::min(frames, buffer.frameCapacity()), length_ - position_));
  interleaved_.assign(std::size_t(frames) * format_.channels, 0);
  for (std::uint32_t done = 0; done < frames;) {
    const auto count =
        reader_->read(interleaved_.data() + std::size_t(done) * format_.channels, frames - done);
    if (!count) return std::unexpected(count.error());
    if (*count == 0) break;
    done += *count;
  }
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel)
    for (std::uint32_t frame = 0; frame < frames; ++frame)
      buffer.channel(channel)[frame] = interleaved_[std::size_t(frame) * format_.channels + channel];
  buffer.setFrameLength(frames);
  position_ += frames;
  return {};
}

}  // namespace sonmere
