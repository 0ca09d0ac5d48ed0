#include "editor/track/TrackReader.h"

#include <fmt/format.h>

#include <algorithm>

#include "editor/track/FadeGain.h"

namespace sonmere {

namespace {

// Seconds. Headers of compressed files may be off by some packets.
constexpr double kShortestGap = 0.1;

Outcome<void> checkRange(const MixTrackInput& input, std::int64_t frames) {
  const TrimRange& range = input.range;
  if (range.startFrame >= 0 && range.startFrame < range.endFrame && (frames < 0 || range.endFrame <= frames))
    return {};
  return std::unexpected(Error{"TrackReader", 1,
                               fmt::format("{}: the range from frame {} to {} is not within its {} frames",
                                           input.url, range.startFrame, range.endFrame, frames)});
}

Outcome<std::int64_t> countByReading(BlockReader& reader) {
  PCMBuffer block(reader.format(), kSourceBlockFrames);
  std::int64_t frames = 0;
  do {
    if (auto read = reader.read(block, block.frameCapacity()); !read) return std::unexpected(read.error());
    frames += block.frameLength();
  } while (block.frameLength() > 0);
  return frames;
}

}  // namespace

TrackReader::TrackReader(const MixTrackInput& input, std::unique_ptr<BlockReader> file)
    : input_(input), file_(std::move(file)) {}

Outcome<std::unique_ptr<TrackReader>> TrackReader::open(const MixTrackInput& input) {
  auto file = BlockReader::open(input.url);
  if (!file) return std::unexpected(file.error());
  if (auto checked = checkRange(input, (*file)->frameCount()); !checked)
    return std::unexpected(checked.error());
  if (input.range.startFrame > 0)
    if (auto sought = (*file)->seek(input.range.startFrame); !sought) return std::unexpected(sought.error());
  return std::unique_ptr<TrackReader>(new TrackReader(input, std::move(*file)));
}

Outcome<void> TrackReader::read(PCMBuffer& buffer, std::uint32_t frames) {
  frames =
      std::uint32_t(std::min<std::int64_t>(std::min(frames, buffer.frameCapacity()), length() - position_));
  if (auto read = file_->read(buffer, frames); !read) return read;
  const std::uint32_t found = buffer.frameLength();
  silent_ += frames - found;
  buffer.setFrameLength(frames);
  for (std::uint32_t channel = 0; channel < format().channels && found < frames; ++channel)
    std::fill(buffer.channel(channel) + found, buffer.channel(channel) + frames, 0.0f);
  applyFadesAndGain(input_.range, position_, buffer);
  position_ += frames;
  return {};
}

std::vector<std::string> TrackReader::notes() const {
  std::vector<std::string> notes;
  const auto seconds = [&](std::int64_t frames) { return double(frames) / format().sampleRate; };
  if (const std::int64_t missing = file_->missingFrames(); missing > 0)
    notes.push_back(fmt::format("{}: this file was cut off; by its header {:.1f} s more should follow",
                                input_.url, seconds(missing)));
  if (seconds(silent_) >= kShortestGap)
    notes.push_back(fmt::format("{}: its audio ends {:.1f} s too early; the rest is silence", input_.url,
                                seconds(silent_)));
  return notes;
}

// What is missing at the end of the file would be silence.
Outcome<bool> TrackReader::addNextTo(PCMBuffer& mix) {
  const std::uint32_t frames = mix.frameLength();
  if (frames == 0 || frames > length() - position_) return false;
  const auto gain = steadyGain(input_.range, position_, frames);
  auto added = gain ? file_->addNextTo(mix, *gain) : false;
  if (added && *added) position_ += frames;
  return added;
}

Outcome<MixTrackInput> wholeFile(const std::string& path) {
  auto reader = BlockReader::open(path);
  if (!reader) return std::unexpected(reader.error());
  Outcome<std::int64_t> frames = (*reader)->frameCount();
  if (*frames < 0) frames = countByReading(**reader);
  if (!frames) return std::unexpected(frames.error());
  return MixTrackInput{path, TrimRange::whole(*frames, (*reader)->format().sampleRate)};
}

}  // namespace sonmere
