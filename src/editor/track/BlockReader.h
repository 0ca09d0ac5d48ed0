#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/file/ChannelLayout.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"

namespace sonmere {

// Reads any supported audio file in deinterleaved blocks; plain WAV without detours.
// Threads: one at a time, never a render thread.
class BlockReader {
 public:
  static Outcome<std::unique_ptr<BlockReader>> open(const std::string& path);
  virtual ~BlockReader() = default;

  virtual const PCMFormat& format() const = 0;
  virtual const ChannelLayout& layout() const = 0;
  // -1 when the file does not say.
  virtual std::int64_t frameCount() const = 0;
  // As AudioFileReader tells them.
  virtual std::int64_t missingFrames() const = 0;
  virtual Outcome<void> seek(std::int64_t frame) = 0;
  // Reads up to `frames` frames, at most the buffer's capacity, to its front; sets its length, which is 0 at
  // the end. The buffer has the file's channel count.
  virtual Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) = 0;
  // Adds the next frames, as many as the mix has and the file still has, to those of a mix, times `gain`, and
  // returns true; or false where reading them is as quick, and has done nothing.
  virtual Outcome<bool> addNextTo(PCMBuffer& mix, float gain);
};

}  // namespace sonmere
