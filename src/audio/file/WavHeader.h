#pragma once

#include <cstdint>
#include <vector>

#include "audio/file/AudioFileSettings.h"

namespace sonmere {

// Whole cache lines: samples that lie to these as in the system's pages are copied quicker.
inline constexpr std::uint32_t kWavHeaderBytes = 128;

// The kWavHeaderBytes of a WAV file up to its first sample, which can be rewritten in place while the file
// grows:
//
//   RIFF size WAVE | JUNK 28 zeros | fmt 16 (float: 18) | fact 4 (float only) | JUNK zeros | data size
//
// Once the RIFF size no longer fits into 32 bits the file is RF64: JUNK becomes ds64 with the sizes in 64
// bits, and the 32-bit fields are all ones (EBU Tech 3306).
//
// `bytesBehind` are those of chunks behind the samples.
std::vector<std::uint8_t> wavHeader(const AudioFileSettings& settings, std::uint64_t frames,
                                    std::uint64_t bytesBehind = 0);

// Bytes that one frame takes in the file.
std::uint32_t wavBytesPerFrame(const AudioFileSettings& settings);

}  // namespace sonmere
