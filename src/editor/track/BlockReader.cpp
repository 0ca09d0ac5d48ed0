#include "editor/track/BlockReader.h"

#include <algorithm>

#include "dsp/VectorMath.h"
#include "editor/track/PlainWavReader.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace {

// By way of the file readers.
class DecodedReader final : public BlockReader {
 public:
  explicit DecodedReader(std::unique_ptr<AudioFileReader> reader)
      : reader_(std::move(reader)), layout_(reader_->layout()) {}

  const PCMFormat& format() const override { return reader_->format(); }
  const ChannelLayout& layout() const override { return layout_; }
  std::int64_t frameCount() const override { return reader_->frameCount(); }
  std::int64_t missingFrames() const override { return reader_->missingFrames(); }
  Outcome<void> seek(std::int64_t frame) override { return reader_->seek(frame); }

  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override {
    const std::uint32_t channels = format().channels;
    frames = std::min(frames, buffer.frameCapacity());
    interleaved_.resize(std::size_t(frames) * channels);
    std::uint32_t done = 0;
    while (done < frames) {
      const auto count = reader_->read(interleaved_.data() + std::size_t(done) * channels, frames - done);
      // What came before damage is delivered first; the next read tells of it again.
      if (!count && done == 0) return std::unexpected(count.error());
      if (!count || *count == 0) break;
      done += *count;
    }
    if (channels == 2) {
      deinterleave(interleaved_.data(), buffer.channel(0), buffer.channel(1), done);
    } else {
      for (std::uint32_t channel = 0; channel < channels; ++channel)
        for (std::uint32_t frame = 0; frame < done; ++frame)
          buffer.channel(channel)[frame] = interleaved_[std::size_t(frame) * channels + channel];
    }
    buffer.setFrameLength(done);
    return {};
  }

 private:
  const std::unique_ptr<AudioFileReader> reader_;
  const ChannelLayout layout_;
  std::vector<float> interleaved_;
};

}  // namespace

Outcome<bool> BlockReader::addNextTo(PCMBuffer&, float) { return false; }

Outcome<std::unique_ptr<BlockReader>> BlockReader::open(const std::string& path) {
  auto reader = openRecording(path);
  if (!reader) return std::unexpected(reader.error());
  if (auto plain = PlainWav::open(path, **reader))
    return std::make_unique<PlainWavReader>(std::move(*plain), path);
  return std::make_unique<DecodedReader>(std::move(*reader));
}

}  // namespace sonmere
