#pragma once

#include <cstdint>

namespace sonmere {

// What a file to be written looks like. Linear PCM is little-endian and interleaved.
struct AudioFileSettings {
  enum class Encoding { linearPCM, aac };
  Encoding encoding = Encoding::linearPCM;
  double sampleRate = 48000;  // Hz
  std::uint32_t channels = 2;
  int bitDepth = 16;     // linear PCM: 16, 24, or 32
  bool isFloat = false;  // linear PCM: only with 32
  int bitRate = 0;       // AAC: bits a second
  // Linear PCM: a broadcast WAV, which says when it was heard, and holds its marks from the moment of
  // marking.
  bool isBroadcast = false;
};

}  // namespace sonmere
