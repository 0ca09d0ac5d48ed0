#pragma once

#include <string>
#include <vector>

namespace sonmere {

// What the helper is asked once: `words` are "list CACHE", "describe ID", "preset ID PRESET" or "try ID". The
// answer is a JSON object, with "error" for what can't be done. Empty for any other words.
std::string answerQuestion(const std::vector<std::string>& words);

}  // namespace sonmere
