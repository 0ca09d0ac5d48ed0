#pragma once

#include <memory>

#include "audio/file/StereoDownmix.h"
#include "editor/track/BlockSource.h"

namespace sonmere {

// A source of more than two channels, mixed down to two.
class StereoSource final : public BlockSource {
 public:
  StereoSource(std::unique_ptr<BlockSource> source, StereoDownmix downmix);

  const PCMFormat& format() const override { return format_; }
  std::int64_t length() const override { return source_->length(); }
  std::vector<std::string> notes() const override { return source_->notes(); }
  Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) override;

 private:
  const std::unique_ptr<BlockSource> source_;
  const StereoDownmix downmix_;
  const PCMFormat format_;
  PCMBuffer block_;
};

}  // namespace sonmere
