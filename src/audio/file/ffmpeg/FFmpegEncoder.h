#pragma once

#include "audio/file/AACEncoder.h"
#include "audio/file/ffmpeg/FFmpegInput.h"

namespace sonmere {

// libavcodec's AAC-LC encoder.
class FFmpegEncoder final : public AACEncoder {
 public:
  static Outcome<std::unique_ptr<FFmpegEncoder>> make(const AudioFileSettings& settings);

  const std::vector<std::uint8_t>& configuration() const override { return configuration_; }
  std::uint32_t encoderDelay() const override { return std::uint32_t(encoder_->initial_padding); }
  Outcome<void> encode(const float* const* planes, std::uint32_t frames,
                       const PacketHandler& handler) override;
  Outcome<void> finish(const PacketHandler& handler) override;

 private:
  FFmpegEncoder() = default;

  Outcome<void> open(const AVCodec& codec, const AudioFileSettings& settings);
  Outcome<void> send(const AVFrame* frame, const PacketHandler& handler);

  FFmpegOwned<AVCodecContext> encoder_;
  FFmpegOwned<AVFrame> frame_;
  FFmpegOwned<AVPacket> packet_;
  std::vector<std::uint8_t> configuration_;
  std::int64_t framesTaken_ = 0;
};

}  // namespace sonmere
