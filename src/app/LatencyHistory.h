#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/LatencyEntry.h"
#include "base/Runtime.h"

namespace sonmere {

// The file of stored snapshots, newest last. A failure to read or write costs a line and is not reported.
// Threads: one at a time; the file work of append runs on a queue of its own.
class LatencyHistory {
 public:
  static constexpr const char* kFileName = "latency-history.jsonl";
  static constexpr std::size_t kLines = 300;

  // The folder is made with its parents at the first append.
  LatencyHistory(Runtime& runtime, const std::string& folder);

  void append(const LatencyEntry& entry);
  // Entries in file order; damaged lines are left out.
  std::vector<LatencyEntry> entries() const;
  // The whole file, or a line that says that there is none.
  std::string fileText() const;

 private:
  const std::string folder_;
  const std::string path_;
  const std::shared_ptr<Queue> queue_;
};

}  // namespace sonmere
