#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sonmere {

// Cuts a stream of bytes into lines, one message each. Bounded: what has no line end within the limit is an
// overflow, after which nothing more comes. One thread at a time.
class MessageFramer {
 public:
  static constexpr std::size_t kLongestMessage = 64 * 1024;  // bytes, without the line end

  static constexpr std::size_t kUnbounded = std::size_t(-1);

  explicit MessageFramer(std::size_t limit = kLongestMessage) : limit_(limit) {}

  // False when the stream has overflowed.
  bool append(std::string_view bytes);
  // The next whole line, without its end; empty lines are passed over.
  std::optional<std::string> next();

 private:
  std::size_t limit_;
  std::string bytes_;
  std::size_t searched_ = 0;  // no line end before this
  bool hasOverflowed_ = false;
};

}  // namespace sonmere
