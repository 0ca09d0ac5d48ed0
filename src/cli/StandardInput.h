#pragma once

#include <functional>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// Audio that comes in at standard input, as a file that can be opened again and sought in: one that the shell
// has opened is taken itself, what comes through a pipe is kept in a file without a name until this object
// goes. Main thread.
class StandardInput {
 public:
  // Blocks until all has come; fails once `isCancelled`, which is asked now and then.
  static Outcome<StandardInput> read(const std::function<bool()>& isCancelled);

  const std::string& path() const { return path_; }

 private:
  explicit StandardInput(FileDescriptor kept);

  FileDescriptor kept_;  // not open where the file is another's
  std::string path_;
};

}  // namespace sonmere
