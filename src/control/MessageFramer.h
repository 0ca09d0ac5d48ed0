#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sonmere {

// Cuts a stream of bytes into lines, one message each. Bounded: a line longer than the limit is an overflow;
// the lines before it still come, and nothing after. One thread at a time.
class MessageFramer {
 public:
  static constexpr std::size_t kLongestMessage = 64 * 1024;  // bytes, without the line end

  static constexpr std::size_t kUnbounded = std::size_t(-1);

  explicit MessageFramer(std::size_t limit = kLongestMessage) : limit_(limit) {}

  void append(std::string_view bytes);
  // Whether next() has one.
  bool hasLine() const { return lineEnd_ != std::string::npos; }
  // The next whole line, without its end; it may be empty.
  std::optional<std::string> next();
  // A line is too long; all before it were taken.
  bool hasOverflowed() const { return hasOverflowed_; }

 private:
  void findEnd();
  void discardTaken();

  std::size_t limit_;
  std::string bytes_;
  std::size_t start_ = 0;                    // of the next line
  std::size_t searched_ = 0;                 // no line end between start_ and this
  std::size_t lineEnd_ = std::string::npos;  // where it ends; npos: not yet
  bool hasOverflowed_ = false;
};

}  // namespace sonmere
