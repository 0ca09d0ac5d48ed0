#include "base/PrintableText.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>

namespace sonmere {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr char32_t kNoCharacter = 0xFFFFFFFF;

struct Character {
  char32_t code = kNoCharacter;  // or kNoCharacter for a byte that is part of none
  std::string_view bytes;
};

std::size_t lengthOf(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

bool isValid(char32_t code, std::size_t length) {
  constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code < 0xE000;
  return code >= kLeast[length] && code <= 0x10FFFF && !isSurrogate;
}

// The first character of `text`, which is not empty.
Character firstOf(std::string_view text) {
  constexpr std::array<unsigned char, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lengthOf(lead);
  if (length == 0 || length > text.size()) return {kNoCharacter, text.substr(0, 1)};
  char32_t code = lead & kLeadBits[length];
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {kNoCharacter, text.substr(0, 1)};
    code = code << 6 | (next & 0x3F);
  }
  if (!isValid(code, length)) return {kNoCharacter, text.substr(0, 1)};
  return {code, text.substr(0, length)};
}

bool isIn(char32_t code, char32_t first, char32_t last) { return code >= first && code <= last; }

bool isUnsafe(char32_t code) {
  const bool isControl = code < 0x20 || isIn(code, 0x7F, 0x9F);
  const bool isLineEnd = code == 0x2028 || code == 0x2029;
  const bool isDirection = code == 0x061C || code == 0x200E || code == 0x200F || isIn(code, 0x202A, 0x202E) ||
                           isIn(code, 0x2066, 0x2069);
  return isControl || isLineEnd || isDirection || code == kNoCharacter;
}

// `text` with what `replace` gives for each unsafe character.
template <class Replace>
std::string replaced(std::string_view text, Replace&& replace) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character c = firstOf(text);
    out += isUnsafe(c.code) ? std::string(replace(c)) : std::string(c.bytes);
    text.remove_prefix(c.bytes.size());
  }
  return out;
}

}  // namespace

std::string printable(std::string_view text) {
  return replaced(text, [](const Character&) { return kReplacement; });
}

std::string printableLines(std::string_view text) {
  return replaced(text, [](const Character& c) { return c.code == '\n' ? c.bytes : kReplacement; });
}

// The line feeds between members are none of a string's, where they are written as \n already.
std::string printableJSON(std::string_view json) {
  return replaced(json, [](const Character& c) {
    if (c.code == '\n') return std::string(c.bytes);
    return c.code == kNoCharacter ? std::string(kReplacement)
                                  : fmt::format("\\u{:04x}", std::uint32_t(c.code));
  });
}

}  // namespace sonmere
