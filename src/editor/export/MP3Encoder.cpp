#include "editor/export/MP3Encoder.h"

#include <fmt/format.h>
#include <lame/lame.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A block of kMostFrames may need 1.25 bytes a frame and 7200 besides.
constexpr int kOutputBytes = 65536;
static_assert(MP3Encoder::kMostFrames / 4 * 5 + 7200 <= kOutputBytes);

constexpr int kQuality = 2;

// The library ends the program over samples that are no numbers, or whose squares have no end.
constexpr float kLoudest = 1024;

bool isEncodable(const float* samples, std::uint32_t frames) {
  return maxMagnitude(samples, frames) <= kLoudest;  // false for what is no number
}

std::vector<float> encodable(const float* samples, std::uint32_t frames) {
  std::vector<float> result(samples, samples + frames);
  for (float& sample : result) sample = std::isnan(sample) ? 0 : std::clamp(sample, -kLoudest, kLoudest);
  return result;
}

}  // namespace

MP3Encoder::MP3Encoder(int channels, int sampleRate) : channels_(channels), sampleRate_(sampleRate) {}

MP3Encoder::~MP3Encoder() {
  if (lame_) lame_close(lame_);
}

Outcome<std::unique_ptr<MP3Encoder>> MP3Encoder::create(const PCMFormat& format, Bitrate bitrate, Head head) {
  using enum MP3EncoderError;
  const auto refuse = [](const std::string& text) {
    return mp3Failure(unsupportedFormat, "Audio format unsupported for MP3 encoding: " + text);
  };
  if (format.channels < 1 || format.channels > 2)
    return refuse(fmt::format("channels must be 1 or 2, got {}", format.channels));
  const auto rate = std::llround(format.sampleRate);
  if (rate < 1 || rate > kMaxSampleRate)
    return refuse(fmt::format("sampleRate {} Hz is outside LAME's supported range", rate));
  std::unique_ptr<MP3Encoder> encoder(new MP3Encoder(int(format.channels), int(rate)));
  if (auto configured = encoder->configure(bitrate, head); !configured)
    return std::unexpected(configured.error());
  return encoder;
}

Outcome<void> MP3Encoder::configure(Bitrate bitrate, Head head) {
  using enum MP3EncoderError;
  outputBuffer_ = std::make_unique<std::uint8_t[]>(kOutputBytes);
  lame_ = lame_init();
  if (!lame_) return mp3Failure(lameInitFailed, "LAME encoder could not be allocated.");
  struct Setter {
    const char* name;
    int (*set)(lame_t, int);
    int value;
  };
  const Setter setters[] = {
      {"in_samplerate", lame_set_in_samplerate, sampleRate_},
      {"num_channels", lame_set_num_channels, channels_},
      {"mode", [](lame_t lame, int mode) { return lame_set_mode(lame, MPEG_mode(mode)); },
       channels_ == 2 ? STEREO : MONO},
      {"brate", lame_set_brate, kilobitsPerSecond(bitrate)},
      {"VBR", [](lame_t lame, int mode) { return lame_set_VBR(lame, vbr_mode(mode)); }, vbr_off},
      {"quality", lame_set_quality, kQuality},
      {"bWriteVbrTag", lame_set_bWriteVbrTag, head == Head::infoFrame ? 1 : 0},
  };
  for (const Setter& setter : setters)
    if (setter.set(lame_, setter.value) < 0)
      return mp3Failure(lameSetParamFailed,
                        fmt::format("LAME encoder rejected parameter '{}'.", setter.name));
  if (lame_init_params(lame_) < 0)
    return mp3Failure(lameInitParamsFailed, "LAME encoder failed to initialise with the chosen parameters.");
  return {};
}

Outcome<std::span<const std::uint8_t>> MP3Encoder::encode(const PCMBuffer& buffer, std::uint32_t from,
                                                          std::uint32_t frames) {
  if (frames == 0) return std::span<const std::uint8_t>();
  const float* left = buffer.channel(0) + from;
  const float* right = channels_ == 2 && buffer.format().channels >= 2 ? buffer.channel(1) + from : left;
  std::vector<float> mendedLeft, mendedRight;
  if (!isEncodable(left, frames) || !isEncodable(right, frames)) {
    mendedLeft = encodable(left, frames);
    mendedRight = encodable(right, frames);
    left = mendedLeft.data();
    right = mendedRight.data();
  }
  const int result =
      lame_encode_buffer_ieee_float(lame_, left, right, int(frames), outputBuffer_.get(), kOutputBytes);
  if (result < 0)
    return mp3Failure(MP3EncoderError::encodeFailed,
                      fmt::format("LAME encode call failed with code {}", result));
  return std::span<const std::uint8_t>(outputBuffer_.get(), std::size_t(result));
}

Outcome<std::span<const std::uint8_t>> MP3Encoder::flush() {
  const int result = lame_encode_flush(lame_, outputBuffer_.get(), kOutputBytes);
  if (result < 0)
    return mp3Failure(MP3EncoderError::flushFailed,
                      fmt::format("LAME flush call failed with code {}", result));
  return std::span<const std::uint8_t>(outputBuffer_.get(), std::size_t(result));
}

std::span<const std::uint8_t> MP3Encoder::infoFrame() {
  const std::size_t bytes = lame_get_lametag_frame(lame_, outputBuffer_.get(), kOutputBytes);
  return {outputBuffer_.get(), bytes <= std::size_t(kOutputBytes) ? bytes : 0};
}

}  // namespace sonmere
