#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace sonmere {

// An error object: where it comes from, its number there, and a text for the user.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::string description;

  bool operator==(const Error&) const = default;
};

// The domain of errno values. Its code 28 is a full disk.
inline constexpr const char* kPOSIXErrorDomain = "NSPOSIXErrorDomain";

template <class T>
using Outcome = std::expected<T, Error>;

// The error of an errno value, described as "{action}: {system's text}".
Error posixError(int errnoValue, const std::string& action);

}  // namespace sonmere
