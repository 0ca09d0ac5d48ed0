#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/file/AudioFileDetails.h"
#include "audio/file/ChannelLayout.h"
#include "audio/file/PCMBuffer.h"
#include "audio/file/SampleForm.h"
#include "base/Error.h"

namespace sonmere {

// Reads any supported audio file as interleaved float32 at the file's own rate.
// Threads: one at a time, never a render thread.
class AudioFileReader {
 public:
  virtual ~AudioFileReader() = default;

  virtual const PCMFormat& format() const = 0;
  // Frames in the file as its header says; -1 when it does not.
  virtual std::int64_t frameCount() const = 0;
  virtual ChannelLayout layout() const { return {}; }
  virtual SampleForm sampleForm() const { return SampleForm::coarse; }
  // Frames that the header tells of behind the end of the file, which was cut off then. `frameCount` is
  // without them.
  virtual std::int64_t missingFrames() const { return 0; }
  // Name of the container, in lower case: "wav", "aiff", "flac", "ogg", "mp3", "m4a" and so on.
  virtual const std::string& container() const = 0;
  virtual AudioFileDetails details() const { return {}; }
  // Reads up to `frames` frames into `interleaved`; 0 at the end.
  virtual Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) = 0;
  virtual Outcome<void> seek(std::int64_t frame) = 0;
};

// Opens a file; the error names it and says what is wrong ("no such file", "not an audio file that can be
// decoded", "has no audio").
Outcome<std::unique_ptr<AudioFileReader>> openAudioFile(const std::string& path);

}  // namespace sonmere
