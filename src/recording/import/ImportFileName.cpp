#include "recording/import/ImportFileName.h"

#include <algorithm>
#include <filesystem>

#include "base/UTF8.h"
#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

// Leaves room for a number, the stamp and the extension in the 255 bytes that file systems allow.
constexpr std::size_t kMostBytes = 200;

std::string cleaned(const std::string& name) {
  std::string result;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t length = utf8CharacterBytes(name, at);
    const auto byte = static_cast<unsigned char>(name[at]);
    const bool isUsable = length > 1 || (length == 1 && byte >= 0x20 && byte != 0x7F && byte != '/');
    if (result.size() + std::max<std::size_t>(length, 1) > kMostBytes) break;
    result += isUsable ? name.substr(at, length) : "-";
    at += std::max<std::size_t>(length, 1);
  }
  return result;
}

}  // namespace

std::string importBaseName(const std::string& sourcePath) {
  const std::filesystem::path path(sourcePath);
  const std::string fileName = path.filename().string();
  const auto recording = parseRecordingName(fileName);
  const std::string name = cleaned(recording ? std::string(recording->name) : path.stem().string());
  // A leading dot would hide the file.
  const std::size_t first = name.find_first_not_of(". ");
  if (first == std::string::npos) return kImportedAudioName;
  return name.substr(first, name.find_last_not_of(' ') + 1 - first);
}

}  // namespace sonmere
