#pragma once

#include <sndfile.h>

#include <vector>

#include "audio/file/AudioFileReader.h"
#include "audio/file/SndFileDetails.h"
#include "base/FileDescriptor.h"

namespace sonmere {

class SndFileInput;

// Reads what libsndfile knows: WAV, AIFF, CAF, FLAC, Ogg (Vorbis, Opus), MP3 and others.
class SndFileReader final : public AudioFileReader {
 public:
  // Takes the descriptor on success. ReaderFault::notDecodable when the format is not libsndfile's.
  static Outcome<std::unique_ptr<AudioFileReader>> open(FileDescriptor& file, const std::string& path);
  ~SndFileReader() override;

  const PCMFormat& format() const override { return format_; }
  std::int64_t frameCount() const override { return frameCount_; }
  ChannelLayout layout() const override;
  SampleForm sampleForm() const override;
  std::int64_t missingFrames() const override;
  const std::string& container() const override { return container_; }
  AudioFileDetails details() const override { return sndFileDetails(sound_, fileFormat_); }
  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override;
  Outcome<void> seek(std::int64_t frame) override;

 private:
  SndFileReader(std::unique_ptr<SndFileInput> input, SNDFILE* sound, const SF_INFO& info,
                const std::string& path);

  // Decodes what the first reads will deliver: a good header alone makes no good file.
  Outcome<void> decodeFirstBlock();
  Outcome<std::uint32_t> decode(float* interleaved, std::uint32_t frames);
  Outcome<void> skip(std::int64_t frames);
  // Where to seek to, so that reading on from there delivers exactly what is at `target`.
  std::int64_t settledFrame(std::int64_t target) const;

  const std::unique_ptr<SndFileInput> input_;
  SNDFILE* const sound_;
  const std::string path_;
  const PCMFormat format_;
  const std::int64_t frameCount_;
  const std::string container_;
  const int fileFormat_;  // as libsndfile has it
  const int codec_;       // SF_FORMAT_SUBMASK of it

  std::vector<float> first_;    // decoded at open, interleaved; nothing after a seek
  std::string damage_;          // what the library said; reading has ended there
  std::size_t firstTaken_ = 0;  // samples of these already delivered
};

}  // namespace sonmere
