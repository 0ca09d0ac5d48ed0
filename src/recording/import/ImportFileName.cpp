#include "recording/import/ImportFileName.h"

#include <algorithm>
#include <filesystem>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

// Leaves room for a number, the stamp and the extension in the 255 bytes that file systems allow.
constexpr std::size_t kMostBytes = 200;

// Bytes of the UTF-8 character at `at`; 0 when there is none.
std::size_t characterBytes(const std::string& text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((text[at + i] & 0xC0) != 0x80) return 0;
  if (length < 3) return length;
  const auto second = static_cast<unsigned char>(text[at + 1]);
  const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool isNoScalar = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
  return isOverlong || isNoScalar ? 0 : length;
}

std::string cleaned(const std::string& name) {
  std::string result;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t length = characterBytes(name, at);
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
