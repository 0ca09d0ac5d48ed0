#pragma once

#include <string>

#include "recording/library/RecordingScan.h"

namespace sonmere {

// What the library holds, as text and as JSON. Each text ends with a line end.

// A table of all files, session by session.
std::string sessionsText(const std::string& folder, const RecordingScan& scan);
// "Found 2 sessions with 5 recordings in {folder}."
std::string foundText(const std::string& folder, const RecordingScan& scan);
// A line for each repair, and one for interrupted recordings that have to wait; empty without any.
std::string repairsText(const RecordingScan& scan);

std::string scanJSON(const std::string& folder, bool isUnavailable, const RecordingScan& scan);
std::string repairsJSON(const std::string& folder, const RecordingScan& scan);

}  // namespace sonmere
