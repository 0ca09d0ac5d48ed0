#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/file/AudioFileOrigin.h"
#include "audio/file/AudioFileSettings.h"

namespace sonmere {

// Whole cache lines: samples that lie to these as in the system's pages are copied quicker.
inline constexpr std::uint32_t kWavHeaderBytes = 128;
// Of a broadcast file: room for some hundreds of marks.
inline constexpr std::uint32_t kBroadcastHeaderBytes = 16384;

// What stands in front of the samples of a broadcast file.
struct WavOrigin {
  AudioFileOrigin origin;
  std::string name;                      // what it is a recording of
  std::vector<std::uint8_t> marks = {};  // chunks, at most wavMarksRoom bytes and an even number
};

// The bytes of a WAV file up to its first sample, which can be rewritten in place while the file grows:
//
//   RIFF size WAVE | JUNK 28 zeros | fmt 16 (float: 18) | fact 4 (float only) | JUNK zeros | data size
//
// A broadcast file has `bext` (EBU Tech 3285) and the chunks of its marks in front of the second JUNK.
//
// Once the RIFF size no longer fits into 32 bits the file is RF64: JUNK becomes ds64 with the sizes in 64
// bits, and the 32-bit fields are all ones (EBU Tech 3306).
//
// `bytesBehind` are those of chunks behind the samples.
std::vector<std::uint8_t> wavHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                    std::uint64_t bytesBehind = 0, const WavOrigin& origin = {});

// The bytes that the header of such a file takes.
std::uint32_t wavHeaderBytes(const AudioFileSettings& settings);
// Those of them that marks may take; 0 but of a broadcast file.
std::uint32_t wavMarksRoom(const AudioFileSettings& settings);

// The two pieces of the header that change while the file grows: its beginning, and its last 8 bytes.
std::vector<std::uint8_t> wavHeaderFront(const AudioFileSettings& settings, std::uint64_t frames,
                                         std::uint64_t bytesBehind = 0);
std::vector<std::uint8_t> wavDataHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                        std::uint64_t bytesBehind = 0);

// Bytes that one frame takes in the file.
std::uint32_t wavBytesPerFrame(const AudioFileSettings& settings);

}  // namespace sonmere
