#pragma once

#include <cstdint>
#include <string>

#include "base/Error.h"

namespace sonmere {

// What can go wrong while an MP3 is made; the value is the code of the error.
enum class MP3EncoderError : std::int64_t {
  lameInitFailed = 1,
  lameSetParamFailed,
  lameInitParamsFailed,
  unsupportedFormat,
  encodeFailed,
  flushFailed,
  writeFailed,
};

inline constexpr const char* kMP3EncoderErrorDomain = "MP3EncoderError";

inline std::unexpected<Error> mp3Failure(MP3EncoderError code, std::string text) {
  return std::unexpected(Error{kMP3EncoderErrorDomain, std::int64_t(code), std::move(text)});
}

}  // namespace sonmere
