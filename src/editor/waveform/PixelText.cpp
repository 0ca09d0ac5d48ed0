#include "editor/waveform/PixelText.h"

#include <array>
#include <cstdint>

namespace sonmere {

namespace {

constexpr int kWidth = 5, kHeight = 7, kNarrowWidth = 2;
using Glyph = std::array<std::uint8_t, kHeight>;  // rows from above, the leftmost pixel in bit 4

constexpr std::array<Glyph, 10> kDigits = {{
    {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110},
    {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110},
    {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010},
    {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110},
    {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110},
    {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000},
    {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110},
    {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100},
}};
constexpr Glyph kColon = {0, 0, 0b10000, 0, 0, 0b10000, 0};
constexpr Glyph kDash = {0, 0, 0, 0b11110, 0, 0, 0};
constexpr Glyph kPoint = {0, 0, 0, 0, 0, 0, 0b10000};

const Glyph* glyphOf(char c) {
  if (c >= '0' && c <= '9') return &kDigits[std::size_t(c - '0')];
  return c == ':' ? &kColon : c == '.' ? &kPoint : c == '-' ? &kDash : nullptr;
}

int widthOf(char c) { return c == ':' || c == '.' ? kNarrowWidth : kWidth; }

}  // namespace

int pixelTextWidth(std::string_view text) {
  int width = 0;
  for (const char c : text) width += widthOf(c) + 1;
  return width;
}

void drawPixelText(std::string_view text, int x, int y, const std::function<void(int, int)>& dot) {
  for (const char c : text) {
    if (const Glyph* glyph = glyphOf(c))
      for (int row = 0; row < kHeight; ++row)
        for (int column = 0; column < kWidth; ++column)
          if ((*glyph)[std::size_t(row)] >> (kWidth - 1 - column) & 1) dot(x + column, y + row);
    x += widthOf(c) + 1;
  }
}

}  // namespace sonmere
