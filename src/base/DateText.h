#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Time.h"

namespace sonmere {

// Dates as text. Threads: any but a render thread.

// In the system's time zone; `pattern` as for strftime, digits only.
std::string localDateText(Date date, const char* pattern);
// "2026-01-31T12:00:00Z": whole seconds, UTC.
std::string iso8601Text(Date date);
// Nothing for any other form than the one that iso8601Text writes, and outside the years 1678 to 2261.
std::optional<Date> dateFromISO8601(std::string_view text);

}  // namespace sonmere
