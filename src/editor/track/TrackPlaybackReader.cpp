#include "editor/track/TrackPlaybackReader.h"

#include <algorithm>
#include <cmath>

#include "editor/track/FadeGain.h"

namespace sonmere {

namespace {
constexpr std::uint32_t kBlockFrames = 2048;
}  // namespace

TrackPlaybackReader::TrackPlaybackReader(const MixTrackInput& input, const Span& span,
                                         std::unique_ptr<BlockReader> file)
    : input_(input),
      span_(span),
      file_(std::move(file)),
      block_(file_->format(), kBlockFrames),
      position_(span.from),
      end_(span.until) {}

Outcome<std::unique_ptr<AudioFileReader>> TrackPlaybackReader::open(const MixTrackInput& input,
                                                                    const Span& span) {
  auto file = BlockReader::open(input.url);
  if (!file) return std::unexpected(file.error());
  return std::unique_ptr<AudioFileReader>(new TrackPlaybackReader(input, span, std::move(*file)));
}

Outcome<std::uint32_t> TrackPlaybackReader::read(float* interleaved, std::uint32_t frames) {
  const std::uint32_t channels = format().channels;
  std::uint32_t done = 0;
  while (done < frames) {
    if (position_ >= end_) {
      if (!span_.loops || span_.loopStart >= span_.until) break;
      nextPass();
      continue;
    }
    if (auto filled = fillBlock(frames - done); !filled) return std::unexpected(filled.error());
    const std::uint32_t count = block_.frameLength();
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
      const float* samples = block_.channel(channel);
      float* out = interleaved + std::size_t(done) * channels + channel;
      for (std::uint32_t i = 0; i < count; ++i) out[std::size_t(i) * channels] = samples[i];
    }
    done += count;
    position_ += count;
  }
  return done;
}

Outcome<void> TrackPlaybackReader::fillBlock(std::uint32_t frames) {
  const TrimRange& range = input_.range;
  const bool isKept = span_.isAudible && position_ >= range.startFrame && position_ < range.endFrame;
  std::int64_t end = end_;
  if (isKept) end = std::min(end, range.endFrame);
  if (position_ < range.startFrame) end = std::min(end, range.startFrame);
  const auto count = std::uint32_t(std::min<std::int64_t>({frames, block_.frameCapacity(), end - position_}));
  if (isKept) return readKept(count);
  block_.setFrameLength(count);
  for (std::uint32_t channel = 0; channel < format().channels; ++channel)
    std::fill_n(block_.channel(channel), count, 0.0f);
  return {};
}

// A file that ends before its range does is followed by silence.
Outcome<void> TrackPlaybackReader::readKept(std::uint32_t frames) {
  if (filePosition_ != position_)
    if (auto sought = file_->seek(position_); !sought) return sought;
  if (auto read = file_->read(block_, frames); !read) return read;
  const std::uint32_t found = block_.frameLength();
  block_.setFrameLength(frames);
  for (std::uint32_t channel = 0; channel < format().channels && found < frames; ++channel)
    std::fill(block_.channel(channel) + found, block_.channel(channel) + frames, 0.0f);
  applyFadesAndGain(input_.range, position_ - input_.range.startFrame, block_);
  filePosition_ = position_ + frames;
  softenEdges();
  return {};
}

void TrackPlaybackReader::softenEdges() {
  if (span_.edgeFrames <= 0) return;
  for (std::uint32_t i = 0; i < block_.frameLength(); ++i) {
    const std::int64_t fromEdge = std::min(position_ + i - span_.from, span_.until - 1 - position_ - i);
    if (fromEdge >= span_.edgeFrames) continue;
    const float gain = float(fromEdge) / float(span_.edgeFrames);
    for (std::uint32_t channel = 0; channel < format().channels; ++channel)
      block_.channel(channel)[i] *= gain;
  }
}

// Passes differ by a frame where that keeps their sum in step.
void TrackPlaybackReader::nextPass() {
  const double frames = span_.loopFrames > 0 ? span_.loopFrames : double(span_.until - span_.loopStart);
  ++passes_;
  position_ = span_.loopStart;
  end_ = position_ + std::llround(frames * double(passes_ + 1)) - std::llround(frames * double(passes_));
}

Outcome<void> TrackPlaybackReader::seek(std::int64_t) {
  return std::unexpected(Error{"TrackPlaybackReader", 1, input_.url + ": what plays has no way back"});
}

}  // namespace sonmere
