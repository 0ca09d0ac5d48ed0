#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "recording/library/ReadBytesAt.h"

namespace sonmere {

// What the chunks of a WAV or RF64 file say, read window by window from its beginning up to the audio. Knows
// bytes only: nothing here opens a file. Threads: any.
struct WavChunks {
  struct Format {
    std::uint16_t tag = 0;  // 1 PCM, 3 float, 0xFFFE either, named further on
    std::uint16_t channels = 0;
    std::uint32_t sampleRate = 0;      // Hz
    std::uint32_t bytesPerSecond = 0;  // on average
    std::uint16_t bytesPerFrame = 0;   // of a block, in encoded formats
  };
  // The sizes of an RF64 file; `at` is where they stand in the file.
  struct LargeSizes {
    std::uint64_t at = 0;
    std::uint64_t riff = 0;
    std::uint64_t data = 0;
    std::uint64_t frames = 0;
  };
  struct Data {
    std::uint64_t at = 0;    // of the chunk's header; the audio begins 8 bytes further
    std::uint32_t size = 0;  // as it is declared there
  };

  bool isRF64 = false;
  std::uint32_t riffSize = 0;
  // Where the chunks of marks that stand in front of the audio begin; 0: there are none.
  std::uint64_t cueAt = 0, labelsAt = 0;
  std::optional<Format> format;
  std::optional<LargeSizes> largeSizes;
  std::optional<Data> data;
  std::uint64_t next = 12;  // where the first chunk stands that was not read yet
};

// Nothing unless the first 12 bytes are those of a WAV file.
std::optional<WavChunks> beginWavChunks(std::span<const std::uint8_t> head);

// Reads on over a window that stands at `at` in the file, `at` being at most chunks.next. Ends at the "data"
// chunk or at the first chunk that the window has not enough of; a window that begins with a chunk is always
// enough to get past it, or the file ends there. Chunks are padded to even sizes.
void walkWavChunks(WavChunks& chunks, std::uint64_t at, std::span<const std::uint8_t> window);

// Both, on a file: a small part of it first, since most files need no more. Gives up on a file whose audio is
// hidden behind thousands of chunks.
std::optional<WavChunks> readWavChunks(const ReadBytesAt& read);

// Length in seconds of the audio that a file of this size really has; 0 when the chunks don't tell.
double wavSeconds(const WavChunks& chunks, std::uint64_t fileSize);

}  // namespace sonmere
