#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace sonmere {

using OutputJSON = nlohmann::ordered_json;

// What commands print for programs: UTF-8, in which a file's name that is none has its wrong bytes replaced,
// and what a terminal would obey is written as escapes. Ends with a line end.
std::string jsonText(const OutputJSON& value);
void printJSON(const OutputJSON& value);
// On one line, for output that goes on.
void printJSONLine(const OutputJSON& value);

}  // namespace sonmere
