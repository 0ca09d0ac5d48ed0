#include "recording/RecordingFileName.h"

#include <filesystem>

#include "base/DateText.h"

namespace sonmere {

namespace fs = std::filesystem;

std::string recordingStamp(Date date) { return localDateText(date, "%Y-%m-%d %H-%M-%S"); }

std::string recordingFileName(const std::string& name, Date date, RecordingFormat format) {
  return name + " \u2014 " + recordingStamp(date) + "." + fileExtension(format);
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
