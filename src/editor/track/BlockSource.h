#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/file/ChannelLayout.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"

namespace sonmere {

// Audio that is taken block by block, from its first frame to its last. Threads: one at a time, never a
// render thread.
class BlockSource {
 public:
  virtual ~BlockSource() = default;

  virtual const PCMFormat& format() const = 0;
  // Empty where it is not known.
  virtual ChannelLayout layout() const { return {}; }
  // Frames from beginning to end, exactly.
  virtual std::int64_t length() const = 0;
  // What the user should know of what was read until now, as that a file was cut off.
  virtual std::vector<std::string> notes() const { return {}; }
  // Reads the next frames to the front of a buffer of the source's channel count: `frames` of them, less only
  // at the end or when the buffer has no room for more. Its length tells how many there are, 0 at the end.
  virtual Outcome<void> read(PCMBuffer& buffer, std::uint32_t frames) = 0;
  // Adds the next frames, as many as the mix has and the source still has, to those of a mix, and returns
  // true; or false where reading them is as quick, and has done nothing.
  virtual Outcome<bool> addNextTo(PCMBuffer&) { return false; }
};

// What blocks are read in where nothing else asks for another size: small enough to stay in the fastest cache
// until it is written.
inline constexpr std::uint32_t kSourceBlockFrames = 2048;

}  // namespace sonmere
