#include "platform/desktop/PlainText.h"

#include "base/UTF8.h"

namespace sonmere {

namespace {

constexpr std::size_t kLongest = 200;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

}  // namespace

std::string plainText(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const std::size_t length = utf8CharacterBytes(text, 0);
    std::string_view next = length ? text.substr(0, length) : kReplacement;
    const auto code = static_cast<unsigned char>(next.front());
    if (code < 0x20 || code == 0x7F) next = " ";
    if (plain.size() + next.size() > kLongest) break;
    if (next != " " || !plain.empty()) plain += next;
    text.remove_prefix(length ? length : 1);
  }
  while (plain.ends_with(' ')) plain.pop_back();
  return plain;
}

}  // namespace sonmere
