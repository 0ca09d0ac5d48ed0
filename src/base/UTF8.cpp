#include "base/UTF8.h"

namespace sonmere {

std::size_t utf8CharacterBytes(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((text[at + i] & 0xC0) != 0x80) return 0;
  if (length < 3) return length;
  const auto second = static_cast<unsigned char>(text[at + 1]);
  const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool isNoScalar = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
  return isOverlong || isNoScalar ? 0 : length;
}

bool isUTF8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8CharacterBytes(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace sonmere
