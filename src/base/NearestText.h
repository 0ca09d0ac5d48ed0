#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sonmere {

// What was probably meant by a text that is none of these: one that takes few changes of a letter, or one
// that it is a part of. Nothing when none is near. Threads: any.
std::optional<std::string> nearestText(std::string_view text, const std::vector<std::string>& candidates);

}  // namespace sonmere
