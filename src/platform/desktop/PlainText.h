#pragma once

#include <string>
#include <string_view>

namespace sonmere {

// Text from elsewhere, fit for keys, lists and files: what is no UTF-8 becomes U+FFFD, control characters
// become blanks, blanks at the ends go, and the length is held to 200 bytes.
std::string plainText(std::string_view text);

}  // namespace sonmere
