#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Why a request was refused.
enum class ControlFault : std::int64_t {
  badValue = 1,       // a value that can't be used; nothing was done
  notFound = 2,       // no app, profile or recording of that name
  ambiguous = 3,      // several apps fit
  failed = 4,         // it was tried and did not work
  otherProtocol = 5,  // the client was made for a program of another version
};

inline constexpr const char* kControlErrorDomain = "Control";

inline Error controlError(ControlFault fault, std::string text) {
  return {kControlErrorDomain, std::int64_t(fault), std::move(text)};
}

}  // namespace sonmere
