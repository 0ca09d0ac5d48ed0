#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// What can go wrong with a file that is to be written, besides what the system says (errno).
enum class WriterFault { unsupportedEncoding = 1, badSettings, wrongLayout, closed, notVerified };

inline constexpr const char* kWriterErrorDomain = "AudioFileWriter";

inline std::unexpected<Error> writerError(WriterFault fault, std::string text) {
  return std::unexpected(Error{kWriterErrorDomain, std::int64_t(fault), std::move(text)});
}

}  // namespace sonmere
