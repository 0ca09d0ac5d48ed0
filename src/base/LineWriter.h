#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/Time.h"

namespace sonmere {

// Writes lines to a file descriptor on a thread of its own, so that a reader that does not read holds nobody
// up, and one that has gone ends nobody. What finds no room is dropped, and its count told where it would
// have stood. The descriptor stays open for the life of the process. Threads: any but a render thread.
class LineWriter {
 public:
  static constexpr std::size_t kMostWaiting = 256 * 1024;  // bytes
  // How long the end waits for a reader.
  static constexpr Duration kLastWait = fromMilliseconds(500);

  explicit LineWriter(int descriptor, std::size_t mostWaiting = kMostWaiting);
  // Writes what waits, for kLastWait at most.
  ~LineWriter();
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  // One or more whole lines. Never waits.
  void write(std::string_view lines);
  // Whether all was written within the limit, or nobody is there to read it.
  bool flush(Duration limit);

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

}  // namespace sonmere
