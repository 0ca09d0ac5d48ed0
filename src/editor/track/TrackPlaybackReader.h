#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "editor/track/BlockReader.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

// A track as the editors play it, on the timeline of its own file: the frames of its range with fades and
// gain applied, as an export writes them, and silence around. Forward only. Worker.
class TrackPlaybackReader final : public AudioFileReader {
 public:
  struct Span {
    std::int64_t from = 0;        // first frame delivered
    std::int64_t until = 0;       // one past the last
    bool loops = false;           // goes on at `loopStart` instead of ending
    std::int64_t loopStart = 0;   // below `until`
    double loopFrames = 0;        // from there to the loop's end, where a whole number would let it drift
    bool isAudible = true;        // else all of it is silent, and nothing is read
    std::int64_t edgeFrames = 0;  // over so many frames it rises at `from` and falls before `until`
  };
  static Outcome<std::unique_ptr<AudioFileReader>> open(const MixTrackInput& input, const Span& span);

  const PCMFormat& format() const override { return file_->format(); }
  ChannelLayout layout() const override { return file_->layout(); }
  std::int64_t frameCount() const override { return -1; }
  const std::string& container() const override { return container_; }
  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override;
  // Nothing plays backwards: always an error.
  Outcome<void> seek(std::int64_t frame) override;

 private:
  TrackPlaybackReader(const MixTrackInput& input, const Span& span, std::unique_ptr<BlockReader> file);
  // Fills the block with frames of one kind, kept or silent; at least one.
  Outcome<void> fillBlock(std::uint32_t frames);
  Outcome<void> readKept(std::uint32_t frames);
  void softenEdges();
  void nextPass();

  const MixTrackInput input_;
  const Span span_;
  const std::unique_ptr<BlockReader> file_;
  const std::string container_ = "edit";
  PCMBuffer block_;
  std::int64_t position_;          // next frame to deliver
  std::int64_t end_;               // of this pass through the loop
  std::int64_t passes_ = 0;        // done
  std::int64_t filePosition_ = 0;  // where the file stands
};

}  // namespace sonmere
