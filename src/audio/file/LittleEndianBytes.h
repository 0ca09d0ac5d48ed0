#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace sonmere {

// Bytes of a file's structure, one field after the other.
class LittleEndianBytes {
 public:
  void tag(const char* fourCharacters) { text({fourCharacters, 4}); }
  void u16(std::uint64_t value) { put(value, 2); }
  void u32(std::uint64_t value) { put(value, 4); }
  void u64(std::uint64_t value) { put(value, 8); }
  void zeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }
  void text(std::string_view text) {
    for (const char character : text) bytes_.push_back(std::uint8_t(character));
  }
  void bytes(std::span<const std::uint8_t> more) { bytes_.insert(bytes_.end(), more.begin(), more.end()); }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  void put(std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes_.push_back(std::uint8_t(value >> (8 * i)));
  }

  std::vector<std::uint8_t> bytes_;
};

}  // namespace sonmere
