#include "recording/RecordingFileName.h"

#include <charconv>
#include <ctime>
#include <filesystem>

#include "base/DateText.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kSeparator = " \u2014 ";
constexpr std::string_view kStampForm = "dddd-dd-dd dd-dd-dd";
constexpr std::string_view kOwnPrefix = "Sonmere ";
constexpr std::string_view kPart = " Part ";

bool isStamp(std::string_view text) {
  if (text.size() != kStampForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isRight = kStampForm[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == kStampForm[i];
    if (!isRight) return false;
  }
  return true;
}

std::optional<RecordingFormat> formatOfExtension(std::string_view extension) {
  for (const RecordingFormat format : {RecordingFormat::wav, RecordingFormat::m4a})
    if (extension == fileExtension(format)) return format;
  return std::nullopt;
}

int digits(std::string_view text, std::size_t from, std::size_t count) {
  int value = 0;
  for (const char c : text.substr(from, count)) value = value * 10 + (c - '0');
  return value;
}

// Of local time from UTC.
std::chrono::seconds offsetAt(std::chrono::sys_seconds at) {
  const std::time_t time = at.time_since_epoch().count();
  std::tm fields{};
  localtime_r(&time, &fields);
  return std::chrono::seconds(fields.tm_gmtoff);
}

}  // namespace

std::string recordingStamp(Date date) { return localDateText(date, "%Y-%m-%d %H-%M-%S"); }

std::string recordingFileName(const std::string& name, Date date, RecordingFormat format) {
  return name + std::string(kSeparator) + recordingStamp(date) + "." + fileExtension(format);
}

std::optional<Date> dateOfStamp(std::string_view stamp) {
  if (!isStamp(stamp)) return std::nullopt;
  const int year = digits(stamp, 0, 4), month = digits(stamp, 5, 2), day = digits(stamp, 8, 2);
  const int hour = digits(stamp, 11, 2), minute = digits(stamp, 14, 2), second = digits(stamp, 17, 2);
  if (!(std::chrono::year(year) / month / day).ok() || hour > 23 || minute > 59 || second > 59)
    return std::nullopt;
  const auto local = std::chrono::sys_days(std::chrono::year(year) / month / day) + std::chrono::hours(hour) +
                     std::chrono::minutes(minute) + std::chrono::seconds(second);
  // As if it were UTC, then with the offset in force there, then with the one in force at the result: that is
  // another one only around a change of the clocks. mktime would look at the zone's file each time.
  std::chrono::sys_seconds seconds = local - offsetAt(local);
  seconds = local - offsetAt(seconds);
  // What Date can't hold: from 2262 on, and before 1677.
  const bool fits = seconds < std::chrono::floor<std::chrono::seconds>(Date::max()) &&
                    seconds > std::chrono::ceil<std::chrono::seconds>(Date::min());
  return fits ? std::optional<Date>(seconds) : std::nullopt;
}

std::optional<RecordingNameParts> parseRecordingName(std::string_view fileName) {
  // Read from the end, where everything has its length: what is left is the name, however many dashes it has.
  const std::size_t dot = fileName.rfind('.');
  if (dot == std::string_view::npos) return std::nullopt;
  const auto format = formatOfExtension(fileName.substr(dot + 1));
  const std::size_t tail = kSeparator.size() + kStampForm.size();
  if (!format || dot <= tail) return std::nullopt;
  const std::string_view name = fileName.substr(0, dot - tail);
  const std::string_view stamp = fileName.substr(dot - kStampForm.size(), kStampForm.size());
  if (fileName.substr(name.size(), kSeparator.size()) != kSeparator || !isStamp(stamp)) return std::nullopt;
  if (name.contains('\r') || name.contains('\n')) return std::nullopt;
  return RecordingNameParts{name, stamp, *format};
}

std::string_view recordingDisplayName(std::string_view name) {
  // A name that is nothing else stays.
  if (name.starts_with(kOwnPrefix) && name.size() > kOwnPrefix.size()) name.remove_prefix(kOwnPrefix.size());
  return name;
}

std::string recordingPartName(const std::string& name, int part) {
  return part < 2 ? name : name + std::string(kPart) + std::to_string(part);
}

std::optional<RecordingPart> parseRecordingPart(std::string_view name) {
  const std::size_t at = name.rfind(kPart);
  if (at == std::string_view::npos || at == 0) return std::nullopt;
  const std::string_view number = name.substr(at + kPart.size());
  int part = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), part);
  const bool isNumber = error == std::errc() && end == number.data() + number.size() && number[0] != '0';
  if (!isNumber || part < 2) return std::nullopt;
  return RecordingPart{name.substr(0, at), part};
}

std::string freeRecordingPath(const std::string& folder, const std::string& name, Date date,
                              RecordingFormat format) {
  // A dangling link counts as taken too. What can't be looked at is left to the file's creation to name.
  const auto isTaken = [](const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
  };
  fs::path path = fs::path(folder) / recordingFileName(name, date, format);
  for (int n = 2; isTaken(path); ++n)
    path = fs::path(folder) / recordingFileName(name + " " + std::to_string(n), date, format);
  return path.string();
}

}  // namespace sonmere
