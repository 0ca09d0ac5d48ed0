#include "control/MessageFramer.h"

#include <algorithm>

namespace sonmere {

void MessageFramer::append(std::string_view bytes) {
  if (hasOverflowed_) return;
  bytes_ += bytes;
  if (!hasLine()) findEnd();
}

// The end of the line that begins at start_. What was searched before is not searched again.
void MessageFramer::findEnd() {
  lineEnd_ = bytes_.find('\n', std::max(start_, searched_));
  searched_ = std::min(lineEnd_, bytes_.size());
  std::size_t length = searched_ - start_;
  // A carriage return may be part of the end.
  if (length > 0 && bytes_[searched_ - 1] == '\r') --length;
  if (length <= limit_) return;
  hasOverflowed_ = true;
  lineEnd_ = std::string::npos;
}

std::optional<std::string> MessageFramer::next() {
  if (!hasLine()) return std::nullopt;
  std::string line = bytes_.substr(start_, lineEnd_ - start_);
  if (line.ends_with('\r')) line.pop_back();
  start_ = searched_ = lineEnd_ + 1;
  lineEnd_ = std::string::npos;
  findEnd();
  discardTaken();
  return line;
}

// Seldom, so that many short lines are not moved over and over.
void MessageFramer::discardTaken() {
  if (start_ < bytes_.size() / 2) return;
  bytes_.erase(0, start_);
  searched_ -= start_;
  if (hasLine()) lineEnd_ -= start_;
  start_ = 0;
}

}  // namespace sonmere
