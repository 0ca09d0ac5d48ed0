#include "platform/desktop/PlainText.h"

namespace sonmere {

namespace {

constexpr std::size_t kLongest = 200;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Length of the well-formed character at the front (Unicode 15, table 3-7), or 0.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  const auto follows = [&](std::size_t i) { return byte(i) >= 0x80 && byte(i) <= 0xBF; };
  const unsigned first = byte(0), second = byte(1);
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return follows(1) ? 2 : 0;
  if (first >= 0xE0 && first <= 0xEF) {
    const bool isShort = first == 0xE0 && second < 0xA0, isSurrogate = first == 0xED && second > 0x9F;
    return follows(1) && follows(2) && !isShort && !isSurrogate ? 3 : 0;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    const bool isShort = first == 0xF0 && second < 0x90, isTooLarge = first == 0xF4 && second > 0x8F;
    return follows(1) && follows(2) && follows(3) && !isShort && !isTooLarge ? 4 : 0;
  }
  return 0;
}

}  // namespace

std::string plainText(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
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
