#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// What a file that is being written takes of its drive.
struct FileSpace {
  std::uint64_t bytes = 0;                     // with its earlier parts
  std::optional<std::uint64_t> freeBytes;      // left to this user; nothing where nobody can tell
  std::vector<std::string> earlierParts = {};  // paths of those that are complete, in order
};

}  // namespace sonmere
