#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Why a file could not be imported. The description is for the user.
struct ImportError {
  static constexpr const char* kDomain = "AudioFileImporter";
  enum Code { kConversionFailed = 1, kWriteFailed, kSourceUnreadable, kTargetFormatInvalid, kCancelled };

  static Error conversionFailed(const std::string& text) { return {kDomain, kConversionFailed, text}; }
  static Error writeFailed(const std::string& text) { return {kDomain, kWriteFailed, text}; }
  static Error sourceUnreadable(const std::string& text) { return {kDomain, kSourceUnreadable, text}; }
  static Error targetFormatInvalid(const std::string& text) { return {kDomain, kTargetFormatInvalid, text}; }
  // Asked for; nothing to be told to the user.
  static Error cancelled() { return {kDomain, kCancelled, "The import was cancelled."}; }
};

}  // namespace sonmere
