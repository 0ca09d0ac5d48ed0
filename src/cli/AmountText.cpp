#include "cli/AmountText.h"

#include <fmt/format.h>

#include <cctype>
#include <optional>
#include <string_view>

#include "base/NumberText.h"
#include "cli/ArgumentText.h"
#include "cli/TimeText.h"

namespace sonmere {

namespace {

bool isNumeral(char c) { return (c >= '0' && c <= '9') || c == '.'; }

// The number at the beginning, which is taken away.
std::optional<double> takeNumber(std::string_view& text) {
  std::size_t end = 0;
  while (end < text.size() && isNumeral(text[end])) ++end;
  const auto number = readNumber(text.substr(0, end));
  text.remove_prefix(end);
  return number;
}

std::optional<double> unitSeconds(char unit) {
  if (unit == 'h') return 3600;
  if (unit == 'm') return 60;
  return unit == 's' ? std::optional(1.0) : std::nullopt;
}

// "1h30m": units that become smaller.
std::optional<double> unitsIn(std::string_view text) {
  double seconds = 0, last = 0;
  while (!text.empty()) {
    const auto number = takeNumber(text);
    const auto unit = text.empty() ? std::nullopt : unitSeconds(text.front());
    if (!number || !unit || (last > 0 && *unit >= last)) return std::nullopt;
    seconds += *number * *unit;
    last = *unit;
    text.remove_prefix(1);
  }
  return last > 0 ? std::optional(seconds) : std::nullopt;
}

std::optional<double> unitBytes(std::string_view unit) {
  while (unit.starts_with(' ')) unit.remove_prefix(1);
  if (unit.empty() || unit == "B") return 1;
  if (unit.size() > 2 || (unit.size() == 2 && unit[1] != 'B' && unit[1] != 'b')) return std::nullopt;
  switch (std::toupper(static_cast<unsigned char>(unit[0]))) {
    case 'K':
      return 1e3;
    case 'M':
      return 1e6;
    case 'G':
      return 1e9;
    case 'T':
      return 1e12;
  }
  return std::nullopt;
}

}  // namespace

Outcome<double> readDuration(const std::string& argument, const std::string& text) {
  if (const auto seconds = unitsIn(text)) return *seconds;
  if (const auto seconds = readTime(argument, text)) return *seconds;
  return badArgument(fmt::format("{}: \"{}\" is not a length; use 90s, 30m, 2h or 1h30m", argument, text));
}

Outcome<double> readSize(const std::string& argument, const std::string& text) {
  std::string_view rest = text;
  const auto number = takeNumber(rest);
  const auto unit = unitBytes(rest);
  if (number && unit) return *number * *unit;
  return badArgument(fmt::format("{}: \"{}\" is not a size; use 500MB or 2G", argument, text));
}

}  // namespace sonmere
