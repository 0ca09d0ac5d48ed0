#pragma once

#include <string>

#include "base/FileDescriptor.h"
#include "base/Runtime.h"

namespace sonmere {

// The stamp of a session that begins: the files of one act of recording or importing bear it, and no others.
// Until this object goes nobody else takes a stamp in that folder, so it is kept until the session's first
// file is there. Threads: one at a time, never a render thread.
class SessionStamp {
 public:
  // The first second from `now` on that no recording in the folder bears. Another program that takes one is
  // waited for, but not for long.
  SessionStamp(Runtime& runtime, const std::string& folder, Date now);

  Date date() const { return date_; }
  // As it stands in names.
  std::string text() const;

 private:
  const FileDescriptor folder_;  // locked
  Date date_;
};

}  // namespace sonmere
