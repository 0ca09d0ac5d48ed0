#pragma once

#include <cstdint>
#include <string>

#include "audio/file/AudioFileDetails.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
#include "editor/track/MixTrackInput.h"

namespace sonmere {

// What an audio file is.
struct FileFacts {
  MixTrackInput whole;
  std::string container;  // as AudioFileReader has it
  AudioFileDetails details;
  PCMFormat format;
  std::uint64_t bytes = 0;

  std::int64_t frames() const { return whole.range.totalFrames; }
  double seconds() const { return double(frames()) / format.sampleRate; }
  // Bits a second, of the whole file; 0 when it isn't known.
  double bitRate() const { return frames() > 0 ? double(bytes) * 8 / seconds() : 0; }
};

// Reads the file's header, and the file itself only where that does not tell its length. Threads: any but a
// render thread.
Outcome<FileFacts> factsOf(const std::string& path);

}  // namespace sonmere
