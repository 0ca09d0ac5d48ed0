#include "base/PrintableText.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>

#include "base/UTF8.h"

namespace sonmere {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr char32_t kNoCharacter = 0xFFFFFFFF;

struct Character {
  char32_t code = kNoCharacter;  // or kNoCharacter for a byte that is part of none
  std::string_view bytes;
};

// The first character of `text`, which is not empty.
Character firstOf(std::string_view text) {
  constexpr std::array<unsigned char, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  const std::size_t length = utf8CharacterBytes(text, 0);
  if (length == 0) return {kNoCharacter, text.substr(0, 1)};
  char32_t code = static_cast<unsigned char>(text[0]) & kLeadBits[length];
  for (std::size_t i = 1; i < length; ++i) code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
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
