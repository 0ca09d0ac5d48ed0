#pragma once

#include <string_view>

namespace sonmere {

// The script that completes commands in "bash", "zsh" or "fish". Each hands the words to the program and
// quotes what comes back: names that strangers chose are never expanded, neither when they are offered nor
// when the line runs.
std::string_view completionScript(std::string_view shell);

}  // namespace sonmere
