#pragma once

#include <memory>

#include "editor/track/BlockReader.h"
#include "editor/track/BlockSource.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

// One track as its edits leave it: the kept range of a file with fades and gain applied, at the file's own
// rate. A file that ends before its range does is followed by silence.
class TrackReader final : public BlockSource {
 public:
  // Fails when the file can't be read or the range is not one of it.
  static Outcome<std::unique_ptr<TrackReader>> open(const MixTrackInput& input);

  const PCMFormat& format() const override { return file_->format(); }
  ChannelLayout layout() const override { return file_->layout(); }
  std::int64_t length() const override { return input_.range.length(); }
  std::vector<std::string> notes() const override;
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;
  Outcome<bool> addNextTo(PCMBuffer& mix) override;

 private:
  TrackReader(const MixTrackInput& input, std::unique_ptr<BlockReader> file);

  const MixTrackInput input_;
  const std::unique_ptr<BlockReader> file_;
  std::int64_t position_ = 0;  // frames after the range's start
  std::int64_t silent_ = 0;    // frames that the file did not have
};

// The whole file without edits. Where its header does not tell the length it is read through.
Outcome<MixTrackInput> wholeFile(const std::string& path);

}  // namespace sonmere
