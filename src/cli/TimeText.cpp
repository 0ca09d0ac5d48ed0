#include "cli/TimeText.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/ArgumentText.h"

namespace sonmere {

namespace {

// Ten years; what is longer is a slip of the hand.
constexpr double kLongestSeconds = 3.2e8;

bool isPlainNumber(const std::string& text) {
  return !text.empty() &&
         std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
}

std::optional<double> secondsOf(const std::string& text) {
  double seconds = 0;
  const std::vector<std::string> parts = splitText(text, ':');
  if (parts.size() > 3) return std::nullopt;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto number = isPlainNumber(parts[i]) ? readNumber(parts[i]) : std::nullopt;
    const bool isWhole = parts[i].find('.') == std::string::npos;
    if (!number || (i > 0 && *number >= 60) || (i + 1 < parts.size() && !isWhole)) return std::nullopt;
    seconds = seconds * 60 + *number;
  }
  return seconds <= kLongestSeconds ? std::optional(seconds) : std::nullopt;
}

std::unexpected<Error> noRange(const std::string& argument, const std::string& text) {
  return badArgument(fmt::format("{}: \"{}\" is not a range; use seconds as 1:3, or times as 0:01:00-0:02:30",
                                 argument, text));
}

}  // namespace

Outcome<double> readTime(const std::string& argument, const std::string& text) {
  if (const auto seconds = secondsOf(text)) return *seconds;
  return badArgument(
      fmt::format("{}: \"{}\" is not a time; use seconds as 1.5, or h:m:s as 0:01:30", argument, text));
}

Outcome<TimeRange> readTimeRange(const std::string& argument, const std::string& text) {
  const bool hasDash = text.find('-') != std::string::npos;
  const std::vector<std::string> ends = splitText(text, hasDash ? '-' : ':');
  if (ends.size() != 2 || (ends[0].empty() && ends[1].empty())) return noRange(argument, text);
  // "-3:5" may be meant for seconds from -3 on, "-300" for a number.
  if (hasDash && ends[0].empty())
    return badArgument(fmt::format("{}: \"{}\" has no beginning; write 0-{} for the part up to there",
                                   argument, text, ends[1]));
  TimeRange range;
  if (!ends[0].empty()) {
    const auto from = secondsOf(ends[0]);
    if (!from) return noRange(argument, text);
    range.from = *from;
  }
  if (!ends[1].empty()) {
    range.until = secondsOf(ends[1]);
    if (!range.until) return noRange(argument, text);
    if (*range.until <= range.from)
      return badArgument(fmt::format("{}: \"{}\" ends before it begins", argument, text));
  }
  return range;
}

}  // namespace sonmere
