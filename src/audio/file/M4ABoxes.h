#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "audio/file/AudioFileTags.h"

namespace sonmere {

// The bytes of an M4A file (ISO/IEC 14496-12 and -14) around its AAC packets. The file grows as
//
//   ftyp | free 16 | moov (no samples) | moof mdat | moof mdat | ...
//
// and is made an ordinary file in place: a moov with sample tables is appended, and then the 16 bytes of
// `free` become the header of an mdat that spans all up to it.
//
//   ftyp | mdat (all the above) | moov (sample tables)

struct M4AStream {
  std::uint32_t sampleRate = 48000;  // Hz
  std::uint32_t channels = 2;
  std::uint32_t bitRate = 192000;           // a second
  std::uint32_t encoderDelay = 0;           // frames that a player leaves out at the start
  std::vector<std::uint8_t> configuration;  // AudioSpecificConfig
  AudioFileTags tags = {};                  // told by the ordinary file alone
};

// A run of packets that lie in the file one behind the other.
struct M4AChunk {
  std::uint64_t offset = 0;  // of the first packet in the file
  std::uint32_t packets = 0;
};

inline constexpr std::uint64_t kM4AFreeBytes = 16;

// ftyp, free and the first moov. `freeOffset` is told where the free box begins.
std::vector<std::uint8_t> m4aHeader(const M4AStream& stream, std::uint64_t& freeOffset);

// moof and the header of its mdat; the packets follow. `sequence` counts from 1; `firstFrame` is that of the
// first packet in the encoded stream.
std::vector<std::uint8_t> m4aFragmentHeader(std::uint32_t sequence, std::uint64_t firstFrame,
                                            std::span<const std::uint32_t> packetBytes);

// The moov of the ordinary file, of which `frames` are to be played.
std::vector<std::uint8_t> m4aIndex(const M4AStream& stream, std::uint64_t frames,
                                   std::span<const std::uint32_t> packetBytes,
                                   std::span<const M4AChunk> chunks);

// What replaces the free box: the header of an mdat of `bytes`, itself included.
std::vector<std::uint8_t> m4aDataHeader(std::uint64_t bytes);

}  // namespace sonmere
