#include "editor/export/ExportTags.h"

#include <filesystem>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kDateLength = 10;

std::string titleOf(const std::string& path) {
  const std::string name = fs::path(path).stem().string();
  const std::string asRecording = name + ".wav";
  const auto recording = parseRecordingName(asRecording);
  return recording ? std::string(recordingDisplayName(recording->name)) : name;
}

}  // namespace

AudioFileTags exportTags(const std::string& destination, const std::string& source) {
  const std::string name = fs::path(source).filename().string();
  const auto recording = parseRecordingName(name);
  return {titleOf(destination), recording ? std::string(recording->stamp.substr(0, kDateLength)) : ""};
}

}  // namespace sonmere
