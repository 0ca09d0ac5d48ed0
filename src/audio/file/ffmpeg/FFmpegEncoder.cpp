#include "audio/file/ffmpeg/FFmpegEncoder.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/file/FFmpegModule.h"

namespace sonmere {

namespace {

constexpr const char* kDomain = "AACEncoder";
constexpr std::uint32_t kMaxChannels = 2;

std::unexpected<Error> failure(int code, std::string text) {
  return std::unexpected(Error{kDomain, code, std::move(text)});
}

std::string textOf(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

bool canEncodeRate(const AVCodec& codec, double sampleRate) {
  for (const int* rate = codec.supported_samplerates; rate && *rate != 0; ++rate)
    if (double(*rate) == sampleRate) return true;
  return false;
}

}  // namespace

Outcome<std::unique_ptr<FFmpegEncoder>> FFmpegEncoder::make(const AudioFileSettings& settings) {
  av_log_set_level(AV_LOG_QUIET);
  const AVCodec* codec = avcodec_find_encoder_by_name("aac");
  if (!codec) return failure(AVERROR_ENCODER_NOT_FOUND, "this system's FFmpeg has no AAC encoder");
  if (!canEncodeRate(*codec, settings.sampleRate)) {
    return failure(AVERROR(EINVAL), fmt::format("AAC has no sample rate of {} Hz", settings.sampleRate));
  }
  if (settings.channels < 1 || settings.channels > kMaxChannels) {
    return failure(AVERROR(EINVAL),
                   fmt::format("AAC is written with 1 or 2 channels, not {}", settings.channels));
  }
  std::unique_ptr<FFmpegEncoder> encoder(new FFmpegEncoder);
  if (auto opened = encoder->open(*codec, settings); !opened) return std::unexpected(opened.error());
  return encoder;
}

Outcome<void> FFmpegEncoder::open(const AVCodec& codec, const AudioFileSettings& settings) {
  encoder_.reset(avcodec_alloc_context3(&codec));
  frame_.reset(av_frame_alloc());
  packet_.reset(av_packet_alloc());
  if (!encoder_ || !frame_ || !packet_) return failure(AVERROR(ENOMEM), textOf(AVERROR(ENOMEM)));
  encoder_->sample_rate = int(settings.sampleRate);
  encoder_->time_base = {1, encoder_->sample_rate};
  encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder_->bit_rate = settings.bitRate;
  encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  encoder_->thread_count = 1;
  av_channel_layout_default(&encoder_->ch_layout, int(settings.channels));
  const int result = avcodec_open2(encoder_.get(), &codec, nullptr);
  if (result < 0) return failure(result, fmt::format("the AAC encoder can't start: {}", textOf(result)));
  if (encoder_->frame_size != int(kAACPacketFrames))
    return failure(AVERROR(EINVAL), "the AAC encoder is of a kind that M4A is not written with");
  configuration_.assign(encoder_->extradata, encoder_->extradata + encoder_->extradata_size);
  return {};
}

Outcome<void> FFmpegEncoder::encode(const float* const* planes, std::uint32_t frames,
                                    const PacketHandler& handler) {
  frame_->nb_samples = int(frames);
  frame_->format = AV_SAMPLE_FMT_FLTP;
  frame_->sample_rate = encoder_->sample_rate;
  frame_->pts = framesTaken_;
  int result = av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout);
  if (result >= 0) result = av_frame_get_buffer(frame_.get(), 0);
  if (result < 0) return failure(result, fmt::format("audio can't be encoded: {}", textOf(result)));
  for (int channel = 0; channel < encoder_->ch_layout.nb_channels; ++channel)
    std::copy_n(planes[channel], frames, reinterpret_cast<float*>(frame_->extended_data[channel]));
  framesTaken_ += frames;
  const auto sent = send(frame_.get(), handler);
  av_frame_unref(frame_.get());
  return sent;
}

Outcome<void> FFmpegEncoder::finish(const PacketHandler& handler) { return send(nullptr, handler); }

Outcome<void> FFmpegEncoder::send(const AVFrame* frame, const PacketHandler& handler) {
  int result = avcodec_send_frame(encoder_.get(), frame);
  while (result >= 0) {
    result = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (result < 0) break;
    handler({packet_->data, std::size_t(packet_->size)});
    av_packet_unref(packet_.get());
  }
  if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return {};
  return failure(result, fmt::format("audio can't be encoded: {}", textOf(result)));
}

extern "C" __attribute__((visibility("default"))) AACEncoder* sonmereMakeFFmpegEncoder(
    const AudioFileSettings& settings, Error* error) {
  auto encoder = FFmpegEncoder::make(settings);
  if (encoder) return encoder->release();
  *error = encoder.error();
  return nullptr;
}

}  // namespace sonmere
