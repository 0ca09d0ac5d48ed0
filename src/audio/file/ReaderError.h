#pragma once

#include <cstdint>
#include <string>

#include "base/Error.h"

namespace sonmere {

// What can be wrong with a file that is to be read, besides what the system says (errno).
enum class ReaderFault { notAFile = 1, notDecodable, noAudio, outOfRange, noModule, damaged };

inline constexpr const char* kReaderErrorDomain = "AudioFileReader";

// Header values beyond these are taken for damage.
inline constexpr int kMinReaderSampleRate = 1000;  // no device plays less
inline constexpr int kMaxReaderSampleRate = 768000;
inline constexpr int kMaxReaderChannels = 64;

inline Error readerError(ReaderFault fault, std::string text) {
  return {kReaderErrorDomain, std::int64_t(fault), std::move(text)};
}

inline bool isFault(const Error& error, ReaderFault fault) {
  return error.domain == kReaderErrorDomain && error.code == std::int64_t(fault);
}

// Refuses a format that no real recording has.
inline Outcome<void> checkFormat(const std::string& path, std::int64_t sampleRate, std::int64_t channels) {
  if (sampleRate < kMinReaderSampleRate || sampleRate > kMaxReaderSampleRate) {
    return std::unexpected(
        readerError(ReaderFault::outOfRange,
                    path + ": a sample rate of " + std::to_string(sampleRate) + " Hz can't be read"));
  }
  if (channels < 1 || channels > kMaxReaderChannels) {
    return std::unexpected(readerError(ReaderFault::outOfRange,
                                       path + ": " + std::to_string(channels) + " channels can't be read"));
  }
  return {};
}

}  // namespace sonmere
