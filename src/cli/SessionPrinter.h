#pragma once

#include <optional>
#include <string>
#include <vector>

#include "editor/export/Loudness.h"
#include "jobs/OpenSession.h"

namespace sonmere {

// Prints the tracks as a table or as JSON.
void printSession(const OpenSession& open, const std::optional<Loudness>& loudness,
                  const std::vector<std::string>& notes, bool json);

}  // namespace sonmere
