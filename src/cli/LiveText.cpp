#include "cli/LiveText.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/ArgumentText.h"
#include "cli/Terminal.h"

namespace sonmere {

std::string LiveText::redrawn(const std::string& text, int columns, int rows) {
  // A terminal that became narrower has wrapped what stands there.
  int up = 0;
  for (const int width : drawn_) up += std::max(1, (width + columns - 1) / std::max(columns, 1));
  std::string out = "\r" + (up > 0 ? fmt::format("\x1b[{}A", up) : "") + "\x1b[J";
  std::vector<std::string> lines = splitText(text, '\n');
  if (!lines.empty() && lines.back().empty()) lines.pop_back();
  // The cursor stands below the last line.
  const auto most = std::size_t(std::max(rows - 1, 1));
  if (lines.size() > most) {
    const std::size_t left = lines.size() - most + 1;
    lines.resize(most);
    lines.back() = fmt::format("... and {} more", left);
  }
  drawn_.clear();
  for (const std::string& line : lines) {
    const std::string shown = fitted(line, columns);
    drawn_.push_back(displayWidth(shown));
    out += shown + "\n";
  }
  return out;
}

}  // namespace sonmere
