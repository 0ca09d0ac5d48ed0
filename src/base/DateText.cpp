#include "base/DateText.h"

#include <cstdio>
#include <ctime>

namespace sonmere {

namespace {
// Rounds down, before 1970 too.
std::time_t wholeSeconds(Date date) {
  return std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
}

std::string formatted(const std::tm& fields, const char* pattern) {
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, pattern, &fields));
}
}  // namespace

std::string localDateText(Date date, const char* pattern) {
  const std::time_t seconds = wholeSeconds(date);
  std::tm fields{};
  localtime_r(&seconds, &fields);
  return formatted(fields, pattern);
}

std::string iso8601Text(Date date) {
  const std::time_t seconds = wholeSeconds(date);
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  return formatted(fields, "%Y-%m-%dT%H:%M:%SZ");
}

// Whole years that a Date can count, in nanoseconds of 64 bits.
constexpr int kFirstYear = 1678, kLastYear = 2261;

std::optional<Date> dateFromISO8601(std::string_view text) {
  const std::string copy(text);
  int year = 0;
  unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int end = -1;
  if (copy.size() != 20 || std::sscanf(copy.c_str(), "%4d-%2u-%2uT%2u:%2u:%2uZ%n", &year, &month, &day, &hour,
                                       &minute, &second, &end) != 6)
    return std::nullopt;
  const auto date = std::chrono::year(year) / int(month) / int(day);
  if (end != 20 || year < kFirstYear || year > kLastYear || !date.ok() || hour > 23 || minute > 59 ||
      second > 60)
    return std::nullopt;
  return std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second);
}

}  // namespace sonmere
