#pragma once

#include <functional>
#include <string_view>

namespace sonmere {

// Width of text in pixels, in the one size that there is: 5 by 7, and a column between characters.
int pixelTextWidth(std::string_view text);

// Calls `dot` for each pixel of the text, whose upper left corner is at x, y. Knows ASCII; other characters
// of UTF-8 are question marks, and control characters spaces.
void drawPixelText(std::string_view text, int x, int y, const std::function<void(int x, int y)>& dot);

}  // namespace sonmere
