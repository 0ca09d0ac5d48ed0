#include "recording/library/RecordingSessions.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <tuple>
#include <utility>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

// Takes the digits at the beginning, without leading zeros.
std::string_view takeNumber(std::string_view& text) {
  std::size_t end = 0;
  while (end < text.size() && isDigit(text[end])) ++end;
  std::string_view number = text.substr(0, end);
  text.remove_prefix(end);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  return number;
}

// Less than 0, 0 or more, as a comparison.
int compareNaturally(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    if (isDigit(a[0]) && isDigit(b[0])) {
      const std::string_view first = takeNumber(a), second = takeNumber(b);
      if (first.size() != second.size()) return first.size() < second.size() ? -1 : 1;
      if (const int order = first.compare(second)) return order;
      continue;
    }
    const auto first = static_cast<unsigned char>(lower(a[0])),
               second = static_cast<unsigned char>(lower(b[0]));
    if (first != second) return first < second ? -1 : 1;
    a.remove_prefix(1);
    b.remove_prefix(1);
  }
  return int(!a.empty()) - int(!b.empty());
}

// The 14 digits of a stamp, in the order of the stamps.
std::uint64_t stampDigits(std::string_view stamp) {
  std::uint64_t value = 0;
  for (const char c : stamp)
    if (isDigit(c)) value = 10 * value + std::uint64_t(c - '0');
  return value;
}

// What a part is a part of, by name and format; nothing for a whole.
struct PartOf {
  std::string name;
  RecordingFormat format;
  int part = 0;
};

std::optional<PartOf> partOf(const RecordingFile& file) {
  const std::string fileName = std::filesystem::path(file.url).filename().string();
  const auto name = parseRecordingName(fileName);
  const auto part = name ? parseRecordingPart(name->name) : std::nullopt;
  if (!part) return std::nullopt;
  return PartOf{std::string(recordingDisplayName(part->name)), file.format, part->part};
}

void appendPart(RecordingFile& whole, RecordingFile part) {
  for (auto& mark : part.marks)
    whole.marks.push_back({whole.durationSeconds + mark.seconds, std::move(mark.text)});
  whole.durationSeconds += part.durationSeconds;
  whole.fileSize += part.fileSize;
  whole.parts.push_back(std::move(part.url));
}

// Parts come behind their wholes in the order of names. One whose forerunner is missing stays a file.
void joinParts(std::vector<RecordingFile>& files) {
  std::vector<RecordingFile> joined;
  for (RecordingFile& file : files) {
    const auto part = partOf(file);
    const auto whole = std::ranges::find_if(joined, [&](const RecordingFile& each) {
      return part && each.displayName == part->name && each.format == part->format &&
             int(each.parts.size()) == part->part - 2;
    });
    if (whole == joined.end())
      joined.push_back(std::move(file));
    else
      appendPart(*whole, std::move(file));
  }
  files = std::move(joined);
}

bool isFileBefore(const RecordingFile& a, const RecordingFile& b) {
  const int order = compareNaturally(a.displayName, b.displayName);
  return order != 0 ? order < 0 : a.url < b.url;
}

}  // namespace

void RecordingSessions::add(std::string_view stamp, RecordingFile file) {
  found_.push_back({stamp, std::move(file)});
}

std::vector<RecordingSession> RecordingSessions::take() {
  // By stamp, with the files where they are; the files of a session are few.
  std::vector<std::pair<std::uint64_t, std::size_t>> order;
  order.reserve(found_.size());
  for (std::size_t i = 0; i < found_.size(); ++i) order.emplace_back(stampDigits(found_[i].stamp), i);
  std::ranges::sort(order, std::greater<>());
  std::vector<RecordingSession> sessions;
  for (auto first = order.begin(); first != order.end();) {
    const auto last =
        std::find_if(first, order.end(), [&](const auto& each) { return each.first != first->first; });
    const std::string_view stamp = found_[first->second].stamp;
    RecordingSession& session = sessions.emplace_back(
        std::string(stamp), dateOfStamp(stamp).value_or(Date::min()), std::vector<RecordingFile>());
    session.files.reserve(std::size_t(last - first));
    for (; first != last; ++first) session.files.push_back(std::move(found_[first->second].file));
    std::ranges::sort(session.files, isFileBefore);
    if (session.files.size() > 1) joinParts(session.files);
  }
  found_.clear();
  // Nearly always the stamps are in the order of time; where clocks go back and forth they are not.
  constexpr auto isNewer = [](const RecordingSession& a, const RecordingSession& b) {
    return std::tie(b.timestamp, b.timestampString) < std::tie(a.timestamp, a.timestampString);
  };
  if (!std::ranges::is_sorted(sessions, isNewer)) std::ranges::sort(sessions, isNewer);
  return sessions;
}

}  // namespace sonmere
