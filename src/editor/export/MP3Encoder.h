#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "audio/file/PCMBuffer.h"
#include "editor/export/MP3Bitrate.h"
#include "editor/export/MP3EncoderError.h"

struct lame_global_struct;

namespace sonmere {

// Turns float samples into the frames of an MP3 of a constant bit rate, stereo or mono. A rate that MP3 does
// not have is brought by the library to one that it has. Threads: one at a time.
class MP3Encoder {
 public:
  using Bitrate = MP3Bitrate;
  static constexpr std::int64_t kMaxSampleRate = 96000;

  // Whether the first frame is left empty for what `infoFrame` tells at the end.
  enum class Head { infoFrame, none };
  // 1 or 2 channels, 1 to 96000 Hz.
  static Outcome<std::unique_ptr<MP3Encoder>> create(const PCMFormat& format, Bitrate bitrate,
                                                     Head head = Head::infoFrame);
  ~MP3Encoder();
  MP3Encoder(const MP3Encoder&) = delete;
  MP3Encoder& operator=(const MP3Encoder&) = delete;

  // Bytes of the MP3 that are complete; valid until the next call. Of a buffer with more channels than the
  // encoder the first are taken; a mono buffer feeds both sides. At most kMostFrames frames at once. What is
  // no number is encoded as silence, and what is 60 dB above full scale or more as that.
  static constexpr std::uint32_t kMostFrames = 32768;
  Outcome<std::span<const std::uint8_t>> encode(const PCMBuffer& buffer, std::uint32_t from,
                                                std::uint32_t frames);
  // What the encoder still holds; the end of the stream.
  Outcome<std::span<const std::uint8_t>> flush();
  // After the end: what takes the place of the first frame. It tells players the length, and how much silence
  // to leave out at both ends. Empty without such a head; valid until the encoder goes.
  std::span<const std::uint8_t> infoFrame();

 private:
  explicit MP3Encoder(int channels, int sampleRate);

  Outcome<void> configure(Bitrate bitrate, Head head);

  lame_global_struct* lame_ = nullptr;
  const int channels_;
  const int sampleRate_;
  std::unique_ptr<std::uint8_t[]> outputBuffer_;
};

}  // namespace sonmere
