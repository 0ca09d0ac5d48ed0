#include "cli/RecordingsPrinter.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/DateText.h"
#include "cli/JSONOutput.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

using JSON = nlohmann::ordered_json;

std::string fileName(const RecordingFile& file) {
  return std::filesystem::path(file.url).filename().string();
}

std::string lengthOf(const RecordingFile& file) {
  return file.durationSeconds > 0 ? lengthText(file.durationSeconds, 1) : "-";
}

std::string counted(std::size_t count, const char* one) {
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

// "3 marks, 2 parts"
std::string extrasOf(const RecordingFile& file) {
  std::string out = file.marks.empty() ? "" : counted(file.marks.size(), "mark");
  if (!file.parts.empty()) out += (out.empty() ? "" : ", ") + counted(file.parts.size() + 1, "part");
  return out;
}

std::size_t fileCount(const RecordingScan& scan) {
  std::size_t count = 0;
  for (const RecordingSession& session : scan.sessions) count += session.files.size();
  return count;
}

JSON fileJSON(const RecordingFile& file) {
  JSON marks = JSON::array();
  for (const auto& mark : file.marks) marks.push_back({{"seconds", mark.seconds}, {"text", mark.text}});
  return {{"name", file.displayName},    {"path", file.url},
          {"format", name(file.format)}, {"seconds", file.durationSeconds},
          {"bytes", file.fileSize},      {"marks", std::move(marks)},
          {"parts", file.parts}};
}

JSON sessionsJSON(const RecordingScan& scan) {
  JSON sessions = JSON::array();
  for (const RecordingSession& session : scan.sessions) {
    JSON files = JSON::array();
    for (const RecordingFile& file : session.files) files.push_back(fileJSON(file));
    const bool isDate = session.timestamp != Date::min();
    sessions.push_back({{"stamp", session.timestampString},
                        {"date", isDate ? JSON(iso8601Text(session.timestamp)) : JSON(nullptr)},
                        {"files", std::move(files)}});
  }
  return sessions;
}

void addRepairs(JSON& all, const RecordingScan& scan) {
  JSON repaired = JSON::array(), failed = JSON::array();
  for (const auto& repair : scan.repairs) {
    if (repair.error)
      failed.push_back({{"file", repair.name}, {"error", repair.error->description}});
    else
      repaired.push_back({{"file", repair.name}, {"audioBytes", repair.audioBytes}});
  }
  all["repaired"] = std::move(repaired);
  all["notRepaired"] = std::move(failed);
  all["nextRepairInSeconds"] = scan.nextRepairIn ? JSON(toSeconds(*scan.nextRepairIn)) : JSON(nullptr);
}

}  // namespace

std::string sessionsText(const std::string& folder, const RecordingScan& scan) {
  if (scan.sessions.empty()) return fmt::format("There are no recordings in {}.\n", printable(folder));
  constexpr auto kRight = TextTable::Align::right;
  TextTable table({{"no.", kRight},
                   {"session"},
                   {"name"},
                   {"format"},
                   {"length", kRight},
                   {"size", kRight},
                   {"file"},
                   {""}});
  std::size_t number = 0;
  for (const RecordingSession& session : scan.sessions) {
    ++number;
    for (std::size_t i = 0; i < session.files.size(); ++i) {
      const RecordingFile& file = session.files[i];
      const bool isAlone = session.files.size() == 1;
      table.add({isAlone ? fmt::format("{}", number) : fmt::format("{}.{}", number, i + 1),
                 i == 0 ? session.timestampString : "", file.displayName, name(file.format), lengthOf(file),
                 sizeText(file.fileSize), fileName(file), extrasOf(file)});
    }
  }
  return table.text();
}

std::string foundText(const std::string& folder, const RecordingScan& scan) {
  return fmt::format("Found {} with {} in {}.\n", counted(scan.sessions.size(), "session"),
                     counted(fileCount(scan), "recording"), printable(folder));
}

std::string repairsText(const RecordingScan& scan) {
  std::string out;
  for (const auto& repair : scan.repairs) {
    if (repair.error)
      out += fmt::format("Could not repair {}: {}\n", printable(repair.name),
                         printable(repair.error->description));
    else
      out += fmt::format("Repaired {} ({} of audio)\n", printable(repair.name), sizeText(repair.audioBytes));
  }
  if (scan.nextRepairIn)
    out +=
        fmt::format("An interrupted recording changed just now and may still go on; try again in {:.0f} s.\n",
                    std::ceil(toSeconds(*scan.nextRepairIn)));
  return out;
}

std::string scanJSON(const std::string& folder, bool isUnavailable, const RecordingScan& scan) {
  JSON all{{"folder", folder}, {"folderUnavailable", isUnavailable}, {"sessions", sessionsJSON(scan)}};
  addRepairs(all, scan);
  return jsonText(all);
}

std::string repairsJSON(const std::string& folder, const RecordingScan& scan) {
  JSON all{{"folder", folder}};
  addRepairs(all, scan);
  return jsonText(all);
}

}  // namespace sonmere
