#pragma once

#include <memory>
#include <span>
#include <vector>

#include "editor/track/BlockSource.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

// The sum of a session's tracks, all of which begin together, at one rate to which they are brought. The
// channels are those of the track that has most; the length is that of the longest. A track without a channel
// of the mix gives its last one, so a mono track is heard on both sides. Nothing is limited or scaled.
class SessionMix final : public BlockSource {
 public:
  // Fails when there is no track or one of them can't be opened. In Hz; 0 is the rate of the first track.
  static Outcome<std::unique_ptr<SessionMix>> open(std::span<const MixTrackInput> inputs,
                                                   double sampleRate = 0);

  const PCMFormat& format() const override { return format_; }
  // That of the track that has most channels.
  ChannelLayout layout() const override;
  std::int64_t length() const override { return length_; }
  std::vector<std::string> notes() const override;
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;

 private:
  explicit SessionMix(std::vector<std::unique_ptr<BlockSource>> tracks);

  Outcome<void> add(BlockSource& track, PCMBuffer& block, PCMBuffer& mix);

  const std::vector<std::unique_ptr<BlockSource>> tracks_;
  PCMFormat format_;
  std::int64_t length_ = 0;
  std::int64_t position_ = 0;
  std::vector<PCMBuffer> blocks_;
  std::vector<std::size_t> blockOf_;  // each track
};

}  // namespace sonmere
