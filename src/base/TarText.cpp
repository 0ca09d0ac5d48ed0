#include "base/TarText.h"

#include <fmt/format.h>

#include <cstring>

namespace sonmere {

namespace {

constexpr std::size_t kBlock = 512;

// Fields of the header: offset, and size with the null that ends a number.
constexpr std::size_t kName = 0, kMode = 100, kUser = 108, kGroup = 116, kSize = 124, kDate = 136, kSum = 148,
                      kType = 156, kMagic = 257, kVersion = 263;

void put(std::string& header, std::size_t at, std::string_view text) {
  header.replace(at, text.size(), text);
}

std::string headerOf(const std::string& name, std::size_t size, std::int64_t seconds) {
  std::string header(kBlock, '\0');
  put(header, kName, std::string_view(name).substr(0, kMode));
  put(header, kMode, "0000600");
  put(header, kUser, "0000000");
  put(header, kGroup, "0000000");
  put(header, kSize, fmt::format("{:011o}", size));
  put(header, kDate, fmt::format("{:011o}", seconds));
  put(header, kType, "0");
  put(header, kMagic, "ustar");
  put(header, kVersion, "00");
  // Summed up with the sum itself as blanks.
  put(header, kSum, "        ");
  unsigned sum = 0;
  for (const unsigned char byte : header) sum += byte;
  put(header, kSum, fmt::format("{:06o}", sum));
  header[kSum + 6] = '\0';
  return header;
}

}  // namespace

std::string tarText(const std::vector<std::pair<std::string, std::string>>& filesByName, Date date) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
  std::string archive;
  for (const auto& [name, bytes] : filesByName) {
    archive += headerOf(name, bytes.size(), seconds);
    archive += bytes;
    archive.append((kBlock - bytes.size() % kBlock) % kBlock, '\0');
  }
  archive.append(2 * kBlock, '\0');
  return archive;
}

}  // namespace sonmere
