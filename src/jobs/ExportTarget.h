#pragma once

#include <span>
#include <string>

#include "base/Error.h"

namespace sonmere {

// Where a job puts what it makes.
struct ExportTarget {
  std::string path;         // of a stream, what errors call it
  bool mayReplace = false;  // a file that is there
  int stream = -1;          // a descriptor that is written to in place of a file

  bool isStream() const { return stream >= 0; }
};

// Whether it can be written, to be asked before long work; changes nothing. What is one of `sources` is
// refused.
Outcome<void> checkTarget(const ExportTarget& target, std::span<const std::string> sources);
// Whether files can be written to this folder, which need not be there yet.
Outcome<void> checkTargetFolder(const std::string& folder);

}  // namespace sonmere
