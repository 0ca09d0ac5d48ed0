#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "audio/file/AudioFileReader.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// A WAV or RF64 file whose samples can be taken from the disk as they stand.
struct PlainWav {
  enum class Encoding { int16, int24, float32 };

  FileDescriptor file;
  PCMFormat format;
  ChannelLayout layout;
  Encoding encoding = Encoding::int16;
  std::int64_t frames = 0;
  std::int64_t missingFrames = 0;  // behind the end of the file
  std::int64_t dataOffset = 0;     // of the first frame, bytes

  std::uint32_t bytesPerSample() const {
    return encoding == Encoding::int16 ? 2 : encoding == Encoding::int24 ? 3 : 4;
  }
  std::uint32_t bytesPerFrame() const { return bytesPerSample() * format.channels; }

  // Nothing for any other file, and where the header does not say exactly what `reader`, which has the same
  // file open, makes of it.
  static std::optional<PlainWav> open(const std::string& path, const AudioFileReader& reader);
};

}  // namespace sonmere
