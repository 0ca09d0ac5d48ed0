#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sonmere {

// Bytes as base64 with padding (RFC 4648), and back. Text that is not exactly such decodes to nothing.
std::string toBase64(std::string_view bytes);
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace sonmere
