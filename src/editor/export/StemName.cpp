#include "editor/export/StemName.h"

#include <fmt/format.h>

#include <filesystem>

namespace sonmere {

namespace {

// Leaves room for a number, the extension and ".tmp" in the 255 bytes that file systems allow.
constexpr std::size_t kMostNameBytes = 200;

std::string fileName(const std::string& name) {
  std::string result;
  for (const char c : name) result += c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '-' : c;
  if (result.size() > kMostNameBytes) {
    std::size_t end = kMostNameBytes;
    while (end > 0 && (result[end] & 0xC0) == 0x80) --end;  // not within a character
    result.resize(end);
  }
  // A leading dot would hide the file, or name a folder.
  const std::size_t first = result.find_first_not_of(". ");
  return first == std::string::npos ? "Track" : result.substr(first);
}

}  // namespace

std::string freeStemPath(const std::string& folder, const std::string& name, const std::string& extension,
                         const std::function<bool(const std::string&)>& isTaken) {
  const auto pathOf = [&](const std::string& stem) {
    return (std::filesystem::path(folder) / fmt::format("{}.{}", stem, extension)).string();
  };
  const std::string stem = fileName(name);
  std::string path = pathOf(stem);
  for (int number = 2; isTaken(path); ++number) path = pathOf(fmt::format("{} {}", stem, number));
  return path;
}

}  // namespace sonmere
