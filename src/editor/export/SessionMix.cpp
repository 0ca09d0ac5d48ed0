#include "editor/export/SessionMix.h"

#include <algorithm>

#include "dsp/VectorMath.h"
#include "editor/track/ResampledSource.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

Outcome<std::unique_ptr<SessionMix>> SessionMix::open(std::span<const MixTrackInput> inputs,
                                                      double sampleRate) {
  if (inputs.empty()) return std::unexpected(Error{"SessionMix", 1, "there is no track to be mixed"});
  std::vector<std::unique_ptr<BlockSource>> tracks;
  for (const MixTrackInput& input : inputs) {
    auto track = TrackReader::open(input);
    if (!track) return std::unexpected(track.error());
    if (sampleRate == 0) sampleRate = (*track)->format().sampleRate;
    if ((*track)->format().sampleRate == sampleRate)
      tracks.push_back(std::move(*track));
    else
      tracks.push_back(std::make_unique<ResampledSource>(std::move(*track), sampleRate));
  }
  return std::unique_ptr<SessionMix>(new SessionMix(std::move(tracks)));
}

SessionMix::SessionMix(std::vector<std::unique_ptr<BlockSource>> tracks) : tracks_(std::move(tracks)) {
  format_ = tracks_[0]->format();
  for (const auto& track : tracks_) {
    format_.channels = std::max(format_.channels, track->format().channels);
    length_ = std::max(length_, track->length());
    // Tracks of one format take turns with one block, which stays in the processor's cache.
    const auto block = std::ranges::find(blocks_, track->format(), &PCMBuffer::format);
    blockOf_.push_back(std::size_t(block - blocks_.begin()));
    if (block == blocks_.end()) blocks_.emplace_back(track->format(), kSourceBlockFrames);
  }
}

ChannelLayout SessionMix::layout() const {
  const auto channels = [](const auto& track) { return track->format().channels; };
  return (*std::ranges::max_element(tracks_, {}, channels))->layout();
}

std::vector<std::string> SessionMix::notes() const {
  std::vector<std::string> all;
  for (const auto& track : tracks_)
    for (std::string& note : track->notes()) all.push_back(std::move(note));
  return all;
}

Outcome<void> SessionMix::read(PCMBuffer& buffer, std::uint32_t frames) {
  const std::int64_t most = std::min({frames, buffer.frameCapacity(), kSourceBlockFrames});
  frames = std::uint32_t(std::min(most, length_ - position_));
  buffer.setFrameLength(frames);
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel)
    std::fill_n(buffer.channel(channel), frames, 0.0f);
  for (std::size_t i = 0; i < tracks_.size(); ++i)
    if (tracks_[i]->length() > position_)
      if (auto added = add(*tracks_[i], blocks_[blockOf_[i]], buffer); !added) return added;
  position_ += frames;
  return {};
}

Outcome<void> SessionMix::add(BlockSource& track, PCMBuffer& block, PCMBuffer& mix) {
  const auto added = track.addNextTo(mix);
  if (!added) return std::unexpected(added.error());
  if (*added) return {};
  if (auto read = track.read(block, mix.frameLength()); !read) return read;
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel)
    addTo(mix.channel(channel), block.channel(std::min(channel, track.format().channels - 1)),
          block.frameLength());
  return {};
}

}  // namespace sonmere
