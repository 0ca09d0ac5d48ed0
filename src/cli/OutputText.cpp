#include "cli/OutputText.h"

#include <algorithm>
#include <cctype>

namespace sonmere {

namespace {

// Short enough for an int.
bool isNumber(const std::string& text) {
  return !text.empty() && text.size() < 6 &&
         std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c) != 0; });
}

}  // namespace

OutputText readOutput(const std::string& text) {
  const auto colon = text.rfind(':'), slash = text.rfind('/');
  if (colon == text.npos || slash == text.npos || slash < colon) return {text};
  const std::string left = text.substr(colon + 1, slash - colon - 1), right = text.substr(slash + 1);
  if (!isNumber(left) || !isNumber(right)) return {text};
  return {text.substr(0, colon), std::stoi(left), std::stoi(right)};
}

}  // namespace sonmere
