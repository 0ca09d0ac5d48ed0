#include "cli/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace sonmere {

namespace {

winsize sizeOf(std::FILE* out) {
  winsize size{};
  if (!isatty(fileno(out)) || ioctl(fileno(out), TIOCGWINSZ, &size) != 0) return {};
  return size;
}

struct Range {
  char32_t first, last;
};

constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3040, 0xA4CF},  {0xAC00, 0xD7A3},
                           {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
                           {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
constexpr Range kNone[] = {{0x0300, 0x036F}, {0x200B, 0x200D}, {0xFE00, 0xFE0F}, {0x20D0, 0x20FF}};

bool isIn(char32_t code, const auto& ranges) {
  return std::ranges::any_of(ranges, [&](const Range& r) { return code >= r.first && code <= r.last; });
}

int widthOf(char32_t code) { return isIn(code, kNone) ? 0 : isIn(code, kWide) ? 2 : 1; }

bool isContinued(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The first character of UTF-8 text, and its length in bytes.
char32_t firstOf(std::string_view text, std::size_t& length) {
  const auto lead = static_cast<unsigned char>(text[0]);
  for (length = 1; length < text.size() && isContinued(text[length]);) ++length;
  char32_t code = length == 1 ? lead : lead & (0xFF >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
  return code;
}

}  // namespace

int terminalColumns(std::FILE* out) { return sizeOf(out).ws_col; }
int terminalRows(std::FILE* out) { return sizeOf(out).ws_row; }

int displayWidth(std::string_view text) {
  int width = 0;
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length))
    width += widthOf(firstOf(text, length));
  return width;
}

std::string fitted(std::string_view text, int columns) {
  if (displayWidth(text) <= columns) return std::string(text);
  if (columns < 1) return "";
  std::string out;
  int left = columns - 1;
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length)) {
    left -= widthOf(firstOf(text, length));
    if (left < 0) break;
    out += text.substr(0, length);
  }
  return out + "…";
}

}  // namespace sonmere
