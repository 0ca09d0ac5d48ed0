#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Errors of this domain say what is wrong with a request: nothing was done, and another one may succeed.
inline constexpr const char* kJobRequestDomain = "JobRequest";

enum class JobFault {
  other = 1,
  trim,             // no part of the file
  unreadableTrack,  // one that should be heard
};

inline std::unexpected<Error> badRequest(std::string text, JobFault fault = JobFault::other) {
  return std::unexpected(Error{kJobRequestDomain, std::int64_t(fault), std::move(text)});
}

inline bool isFault(const Error& error, JobFault fault) {
  return error.domain == kJobRequestDomain && error.code == std::int64_t(fault);
}

}  // namespace sonmere
