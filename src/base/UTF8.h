#pragma once

#include <cstddef>
#include <string_view>

namespace sonmere {

// Bytes of the UTF-8 character at `at`, which is within the text; 0 when there is none, or it is not in its
// shortest form, half of a surrogate pair, or beyond the last (Unicode 15, table 3-7). Threads: any.
std::size_t utf8CharacterBytes(std::string_view text, std::size_t at);

// Whether JSON and the log can carry the text.
bool isUTF8(std::string_view text);

}  // namespace sonmere
