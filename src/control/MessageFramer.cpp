#include "control/MessageFramer.h"

namespace sonmere {

bool MessageFramer::append(std::string_view bytes) {
  if (hasOverflowed_) return false;
  bytes_ += bytes;
  const auto lastEnd = bytes_.rfind('\n');
  const std::size_t open = lastEnd == std::string::npos ? bytes_.size() : bytes_.size() - lastEnd - 1;
  hasOverflowed_ = open > limit_;
  return !hasOverflowed_;
}

std::optional<std::string> MessageFramer::next() {
  while (true) {
    const auto end = bytes_.find('\n', searched_);
    searched_ = end == std::string::npos ? bytes_.size() : 0;
    if (end == std::string::npos) return std::nullopt;
    std::string line = bytes_.substr(0, end);
    bytes_.erase(0, end + 1);
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty()) continue;
    return line;
  }
}

}  // namespace sonmere
