#include "recording/library/RecordingChoice.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

namespace sonmere {

namespace {

constexpr std::size_t kMostNamed = 5;

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{kRecordingChoiceDomain, 1, std::move(text)});
}

// "latest" and "latest.2", "3" and "3.2".
struct Place {
  std::size_t session = 0;  // from 1
  std::size_t file = 0;     // from 1; 0: none was said
};

std::optional<std::size_t> positive(std::string_view text) {
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value == 0) return std::nullopt;
  return value;
}

std::optional<Place> placeOf(std::string_view text) {
  const std::size_t dot = text.find('.');
  const std::string_view first = text.substr(0, dot);
  const auto session = first == "latest" ? std::optional<std::size_t>(1) : positive(first);
  if (!session) return std::nullopt;
  if (dot == std::string_view::npos) return Place{*session, 0};
  const auto file = positive(text.substr(dot + 1));
  return file ? std::optional(Place{*session, *file}) : std::nullopt;
}

std::string fileName(const RecordingFile& file) {
  return std::filesystem::path(file.url).filename().string();
}

std::string listed(const std::vector<std::string>& names) {
  std::string out;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
    out += (out.empty() ? "\"" : ", \"") + names[i] + "\"";
  if (names.size() > kMostNamed) out += fmt::format(" and {} more", names.size() - kMostNamed);
  return out;
}

Outcome<const RecordingSession*> sessionAt(std::span<const RecordingSession> sessions, std::size_t number) {
  if (sessions.empty()) return refuse("there are no recordings");
  if (number <= sessions.size()) return &sessions[number - 1];
  return refuse(fmt::format("there is no session {}; the list ends with {}", number, sessions.size()));
}

Outcome<const RecordingFile*> fileAt(const RecordingSession& session, const Place& place) {
  const std::size_t count = session.files.size();
  if (place.file == 0 && count == 1) return &session.files[0];
  if (place.file >= 1 && place.file <= count) return &session.files[place.file - 1];
  return refuse(fmt::format("session {} has {} files; name one of them from {}.1 to {}.{}", place.session,
                            count, place.session, place.session, count));
}

}  // namespace

Outcome<const RecordingSession*> chooseSession(std::span<const RecordingSession> sessions,
                                               const std::string& text) {
  std::vector<const RecordingSession*> fitting;
  std::vector<std::string> stamps;
  for (const RecordingSession& session : sessions) {
    if (session.timestampString == text) return &session;
    if (text.empty() || !session.timestampString.starts_with(text)) continue;
    fitting.push_back(&session);
    stamps.push_back(session.timestampString);
  }
  // A number means the list, though stamps begin with digits too: years have four.
  if (const auto place = placeOf(text); place && place->file == 0 && text.size() < 4)
    return sessionAt(sessions, place->session);
  if (text == "latest") return sessionAt(sessions, 1);
  if (fitting.size() == 1) return fitting[0];
  if (fitting.empty()) return refuse(fmt::format("there is no session \"{}\"", text));
  return refuse(fmt::format("\"{}\" fits several sessions: {}", text, listed(stamps)));
}

Outcome<const RecordingFile*> chooseRecording(std::span<const RecordingSession> sessions,
                                              const std::string& text) {
  std::vector<const RecordingFile*> fitting;
  std::vector<std::string> names;
  for (const RecordingSession& session : sessions)
    for (const RecordingFile& file : session.files) {
      const std::string name = fileName(file);
      if (name == text) return &file;
      const bool fits = file.displayName == text || session.timestampString == text ||
                        (!text.empty() && name.starts_with(text));
      if (!fits) continue;
      fitting.push_back(&file);
      names.push_back(name);
    }
  if (const auto place = placeOf(text)) {
    const auto session = sessionAt(sessions, place->session);
    if (session) return fileAt(**session, *place);
    if (fitting.empty()) return std::unexpected(session.error());
  }
  if (fitting.size() == 1) return fitting[0];
  if (fitting.empty()) return refuse(fmt::format("there is no recording \"{}\"", text));
  return refuse(fmt::format("\"{}\" fits several recordings: {}", text, listed(names)));
}

}  // namespace sonmere
