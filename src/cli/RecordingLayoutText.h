#pragma once

#include <string>

#include "base/Error.h"
#include "recording/RecordingLayout.h"

namespace sonmere {

// A layout by its name, or by what it begins with: "separate". `argument` is how the error names it.
Outcome<RecordingLayout> readRecordingLayout(const std::string& argument, const std::string& text);

}  // namespace sonmere
