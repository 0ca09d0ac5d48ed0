#pragma once

#include <string>
#include <vector>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// A folder held open, with the names of recordings in it at the moment of opening. Files are then reached
// through the folder itself, whatever becomes of its path. Threads: one at a time, never a render thread.
struct RecordingsListing {
  struct Entry {
    std::string name;
    bool isLink = false;  // else an ordinary file
  };
  FileDescriptor folder;
  std::vector<Entry> entries;  // in the order of the file system

  // What has the name of a recording but is a folder, a pipe or the like is left out.
  static Outcome<RecordingsListing> open(const std::string& path);
};

}  // namespace sonmere
