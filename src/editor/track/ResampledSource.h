#pragma once

#include <memory>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "editor/track/BlockSource.h"

namespace sonmere {

// A source at another rate, of the length that its time takes there.
class ResampledSource final : public BlockSource {
 public:
  ResampledSource(std::unique_ptr<BlockSource> source, double sampleRate);

  const PCMFormat& format() const override { return format_; }
  ChannelLayout layout() const override { return reader_->layout(); }
  std::int64_t length() const override { return length_; }
  std::vector<std::string> notes() const override { return source_->notes(); }
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;

 private:
  const PCMFormat format_;
  const std::int64_t length_;
  const BlockSource* const source_;  // the reader's
  const std::unique_ptr<AudioFileReader> reader_;
  std::vector<float> interleaved_;
  std::int64_t position_ = 0;
};

}  // namespace sonmere
