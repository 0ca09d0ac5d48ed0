#pragma once

#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// A file in a session's folder that gets its name only once it is complete. Until then it is a hidden one,
// which is gone with this object; what a process that died left is removed by the next. Threads: one at a
// time.
class ImportDestination {
 public:
  explicit ImportDestination(std::string folder);
  ~ImportDestination();
  ImportDestination(const ImportDestination&) = delete;
  ImportDestination& operator=(const ImportDestination&) = delete;

  // Where the file is to be made.
  const std::string& temporaryPath() const { return temporary_; }
  // To be called once it has been made: other imports let it be.
  Outcome<void> claim();
  // Names it "{name} — {stamp}.wav", or with a number behind the name when that is taken; tells its path.
  Outcome<std::string> publish(const std::string& name, const std::string& stamp);

 private:
  void sweepLeftOvers() const;

  const std::string folder_;
  const std::string temporary_;
  FileDescriptor claiming_;  // the folder; shared with other imports, but not with a sweep, up to the claim
  FileDescriptor claim_;     // locked as long as the import runs
};

}  // namespace sonmere
