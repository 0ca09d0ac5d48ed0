#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "audio/file/AudioFileSettings.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"

namespace sonmere {

// Encodes one stream as AAC-LC. A packet holds kAACPacketFrames frames; the first frame that comes out of a
// decoder lies encoderDelay() frames before the first one that went in. Threads: one at a time, never a
// render thread.
class AACEncoder {
 public:
  using PacketHandler = std::function<void(std::span<const std::uint8_t> packet)>;

  virtual ~AACEncoder() = default;

  // What a decoder must know beforehand (AudioSpecificConfig).
  virtual const std::vector<std::uint8_t>& configuration() const = 0;
  // Frames.
  virtual std::uint32_t encoderDelay() const = 0;
  // Takes planes of `frames` finite samples, kAACPacketFrames of them but in the last call.
  virtual Outcome<void> encode(const float* const* planes, std::uint32_t frames,
                               const PacketHandler& handler) = 0;
  // Gives the packets that are still held. Nothing may follow.
  virtual Outcome<void> finish(const PacketHandler& handler) = 0;
};

inline constexpr std::uint32_t kAACPacketFrames = 1024;

// An encoder for `settings` (sampleRate, channels, bitRate); the error names what can't be encoded.
Outcome<std::unique_ptr<AACEncoder>> makeAACEncoder(const AudioFileSettings& settings);

}  // namespace sonmere
