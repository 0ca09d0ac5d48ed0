#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "base/PrintableText.h"

namespace sonmere {

using OutputJSON = nlohmann::ordered_json;

// Counts the changes of what commands print for programs that take or rename a member; new members don't
// count.
inline constexpr int kOutputVersion = 1;

// What commands print for programs: one object, with the version of its form as the first member. UTF-8, in
// which a file's name that is none has its wrong bytes replaced, and what a terminal would obey is written as
// escapes. Ends with a line end.
std::string jsonText(const OutputJSON& object);
// The same on one line, for output that goes on.
std::string jsonLineText(const OutputJSON& object);
void printJSON(const OutputJSON& object);
void printJSONLine(const OutputJSON& object);

}  // namespace sonmere
