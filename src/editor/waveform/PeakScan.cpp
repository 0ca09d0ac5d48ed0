#include "editor/waveform/PeakScan.h"

#include "editor/track/PlainWavPiece.h"

namespace sonmere {

namespace {

class PlainWavScan final : public PeakScan {
 public:
  PlainWavScan(PlainWav wav, std::string path) : piece_(std::move(wav), std::move(path)) {}

  PlainWav::Encoding encoding() const override { return piece_.wav().encoding; }
  std::uint32_t bytesPerFrame() const override { return piece_.wav().bytesPerFrame(); }

  Outcome<std::span<const std::uint8_t>> next(std::int64_t frames) override {
    static_assert(PlainWavPiece::kSlackBytes >= kPeakSlackBytes);
    auto read = piece_.read(position_, frames);
    if (read) position_ += std::int64_t(read->size() / bytesPerFrame());
    return read;
  }

 private:
  PlainWavPiece piece_;
  std::int64_t position_ = 0;
};

class DecodedScan final : public PeakScan {
 public:
  explicit DecodedScan(std::unique_ptr<AudioFileReader> reader) : reader_(std::move(reader)) {}

  PlainWav::Encoding encoding() const override { return PlainWav::Encoding::float32; }
  std::uint32_t bytesPerFrame() const override { return reader_->format().channels * sizeof(float); }

  Outcome<std::span<const std::uint8_t>> next(std::int64_t frames) override {
    const std::size_t channels = reader_->format().channels;
    samples_.resize(std::size_t(frames) * channels + kPeakSlackBytes / sizeof(float));
    std::int64_t done = 0;
    while (done < frames) {
      const auto count =
          reader_->read(samples_.data() + std::size_t(done) * channels, std::uint32_t(frames - done));
      // What came before damage counts; the next call tells of it again.
      if (!count && done == 0) return std::unexpected(count.error());
      if (!count || *count == 0) break;
      done += *count;
    }
    return std::span(reinterpret_cast<const std::uint8_t*>(samples_.data()),
                     std::size_t(done) * bytesPerFrame());
  }

 private:
  const std::unique_ptr<AudioFileReader> reader_;
  std::vector<float> samples_;
};

}  // namespace

PeakKernels::Find PeakScan::finder() const {
  switch (encoding()) {
    case PlainWav::Encoding::int16:
      return peakKernels().int16;
    case PlainWav::Encoding::int24:
      return peakKernels().int24;
    case PlainWav::Encoding::float32:
      break;
  }
  return peakKernels().float32;
}

std::unique_ptr<PeakScan> PeakScan::ofPlainWav(PlainWav wav, std::string path) {
  return std::make_unique<PlainWavScan>(std::move(wav), std::move(path));
}

std::unique_ptr<PeakScan> PeakScan::ofReader(std::unique_ptr<AudioFileReader> reader) {
  return std::make_unique<DecodedScan>(std::move(reader));
}

}  // namespace sonmere
