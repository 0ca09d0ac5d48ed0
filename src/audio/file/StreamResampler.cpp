#include "audio/file/StreamResampler.h"

#include <fmt/format.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "audio/file/ReaderError.h"
#include "audio/file/StereoDownmix.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kBlockFrames = 4096;

// Input frames before a seek's target that the filter needs to settle, for each time the rate is reduced.
constexpr std::int64_t kPrerollFrames = 4096;

// A header may claim more than can be reckoned with.
constexpr std::int64_t kMostFrames = std::int64_t(1) << 62;

// Another channel count at the source's rate.
class ChannelMapper final : public AudioFileReader {
 public:
  ChannelMapper(std::unique_ptr<AudioFileReader> source, std::uint32_t channels)
      : source_(std::move(source)),
        format_{source_->format().sampleRate, channels},
        downmix_(source_->format().channels, source_->layout()) {}

  const PCMFormat& format() const override { return format_; }
  std::int64_t frameCount() const override { return source_->frameCount(); }
  const std::string& container() const override { return source_->container(); }
  Outcome<void> seek(std::int64_t frame) override { return source_->seek(frame); }

  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    const std::uint32_t inChannels = source_->format().channels;
    block_.resize(std::size_t(kBlockFrames) * inChannels);
    std::uint32_t done = 0;
    while (done < frames) {
      const auto count = source_->read(block_.data(), std::min(frames - done, kBlockFrames));
      if (!count) return count;
      if (*count == 0) break;
      for (std::uint32_t frame = 0; frame < *count; ++frame) {
        mapFrame(block_.data() + std::size_t(frame) * inChannels,
                 interleaved + std::size_t(done + frame) * format_.channels);
      }
      done += *count;
    }
    return done;
  }

 private:
  void mapFrame(const float* in, float* out) const {
    float left = 0, right = 0;
    for (const StereoDownmix::Gains& gains : downmix_.gains()) {
      left += gains.left * *in;
      right += gains.right * *in++;
    }
    out[0] = format_.channels == 1 ? 0.5f * (left + right) : left;
    if (format_.channels > 1) out[1] = right;
    for (std::uint32_t channel = 2; channel < format_.channels; ++channel) out[channel] = 0;
  }

  std::unique_ptr<AudioFileReader> source_;
  const PCMFormat format_;
  const StereoDownmix downmix_;
  std::vector<float> block_;
};

// Another rate with the source's channels.
class RateConverter final : public AudioFileReader {
 public:
  RateConverter(std::unique_ptr<AudioFileReader> source, double sampleRate)
      : source_(std::move(source)),
        format_{sampleRate, source_->format().channels},
        ratio_(sampleRate / source_->format().sampleRate),
        input_(std::size_t(kBlockFrames) * format_.channels),
        dropped_(input_.size()) {}

  const PCMFormat& format() const override { return format_; }
  ChannelLayout layout() const override { return source_->layout(); }
  const std::string& container() const override { return source_->container(); }

  std::int64_t frameCount() const override {
    const double frames = double(source_->frameCount()) * ratio_;
    return frames < 0 || frames >= double(kMostFrames) ? -1 : std::llround(frames);
  }

  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    if (auto started = start(); !started) return std::unexpected(started.error());
    while (toDrop_ > 0) {
      const auto count =
          produce(dropped_.data(), std::uint32_t(std::min<std::int64_t>(toDrop_, kBlockFrames)));
      if (!count || *count == 0) return count;
      toDrop_ -= *count;
    }
    return produce(interleaved, frames);
  }

  Outcome<void> seek(std::int64_t frame) override {
    const std::int64_t target = std::clamp<std::int64_t>(frame, 0, kMostFrames);
    const std::int64_t from = restartFrame(target);
    if (auto result = source_->seek(from); !result) return result;
    soxr_.reset();
    inputStart_ = inputEnd_ = 0;
    inputEnded_ = outputEnded_ = false;
    toDrop_ = target - std::llround(double(from) * ratio_);
    return {};
  }

 private:
  struct Deleter {
    void operator()(soxr* converter) const { soxr_delete(converter); }
  };

  // An input frame some way before output frame `target` that coincides with an output frame, so that the
  // samples after a seek are those that reading on would have given.
  std::int64_t restartFrame(std::int64_t target) const {
    const double decimation = std::max(1.0, 1.0 / ratio_);
    const auto preroll = std::int64_t(double(kPrerollFrames) * decimation);
    const std::int64_t wanted =
        std::int64_t(std::min(double(target) / ratio_, double(kMostFrames))) - preroll;
    const std::int64_t inRate = std::llround(source_->format().sampleRate);
    const std::int64_t grid = inRate / std::gcd(inRate, std::int64_t(std::llround(format_.sampleRate)));
    return wanted <= 0 ? 0 : wanted / grid * grid;
  }

  Outcome<void> start() {
    if (soxr_) return {};
    soxr_error_t error = nullptr;
    const auto samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const auto quality = soxr_quality_spec(SOXR_VHQ, 0);
    const auto runtime = soxr_runtime_spec(1);
    soxr_.reset(soxr_create(source_->format().sampleRate, format_.sampleRate, format_.channels, &error,
                            &samples, &quality, &runtime));
    return error ? failure(error) : Outcome<void>();
  }

  Outcome<std::uint32_t> produce(float* out, std::uint32_t frames) {
    std::uint32_t done = 0;
    while (done < frames && !outputEnded_) {
      if (auto refilled = refill(); !refilled) return std::unexpected(refilled.error());
      std::size_t used = 0, made = 0;
      // No input at all tells the library to give what it still holds.
      const float* in = inputEnded_ ? nullptr : input_.data() + inputStart_ * format_.channels;
      const auto error = soxr_process(soxr_.get(), in, inputEnd_ - inputStart_, &used,
                                      out + std::size_t(done) * format_.channels, frames - done, &made);
      if (error) return std::unexpected(failure(error).error());
      inputStart_ += used;
      done += std::uint32_t(made);
      outputEnded_ = inputEnded_ && made == 0;
    }
    return done;
  }

  Outcome<void> refill() {
    if (inputEnded_ || inputStart_ < inputEnd_) return {};
    const auto count = source_->read(input_.data(), kBlockFrames);
    if (!count) return std::unexpected(count.error());
    inputStart_ = 0;
    inputEnd_ = *count;
    inputEnded_ = *count == 0;
    return {};
  }

  Outcome<void> failure(const char* reason) const {
    return std::unexpected(readerError(
        ReaderFault::outOfRange, fmt::format("no conversion from {} Hz to {} Hz: {}",
                                             source_->format().sampleRate, format_.sampleRate, reason)));
  }

  std::unique_ptr<AudioFileReader> source_;
  const PCMFormat format_;
  const double ratio_;  // output frames for each input frame
  std::unique_ptr<soxr, Deleter> soxr_;
  std::vector<float> input_;
  std::vector<float> dropped_;
  std::size_t inputStart_ = 0;  // frames of `input_` not yet given to the converter
  std::size_t inputEnd_ = 0;
  bool inputEnded_ = false;
  bool outputEnded_ = false;
  std::int64_t toDrop_ = 0;  // output frames before a seek's target
};

}  // namespace

std::unique_ptr<AudioFileReader> resampled(std::unique_ptr<AudioFileReader> source, const PCMFormat& target) {
  const std::uint32_t channels = source->format().channels;
  const auto mapped = [&](std::unique_ptr<AudioFileReader> reader) -> std::unique_ptr<AudioFileReader> {
    if (target.channels == channels) return reader;
    return std::make_unique<ChannelMapper>(std::move(reader), target.channels);
  };
  const auto converted = [&](std::unique_ptr<AudioFileReader> reader) -> std::unique_ptr<AudioFileReader> {
    if (target.sampleRate == reader->format().sampleRate) return reader;
    return std::make_unique<RateConverter>(std::move(reader), target.sampleRate);
  };
  // The conversion runs on as few channels as will do.
  if (target.channels < channels) return converted(mapped(std::move(source)));
  return mapped(converted(std::move(source)));
}

}  // namespace sonmere
