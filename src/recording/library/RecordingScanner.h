#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Log.h"
#include "recording/RecordingFileName.h"
#include "recording/library/RecordingScan.h"
#include "recording/library/RecordingsListing.h"
#include "recording/library/WavRepairWriter.h"

namespace sonmere {

// Looks through a folder for recordings and mends the interrupted ones. A recording is an ordinary file whose
// name has the form of RecordingFileName.h, or a symbolic link to an ordinary file; what is reached through a
// link is listed and never written to. The folder may be renamed, vanish or fill up meanwhile, and several
// programs may scan at once. Threads: one at a time, never a render thread.
class RecordingScanner {
 public:
  explicit RecordingScanner(Log& log) : log_(log) {}

  // `now` is what the age of files is told by. Ends early, with what it has, once `cancelled` holds; tells
  // `progress` the fraction of the folder that is done.
  RecordingScan scan(const std::string& folder, Date now, const std::atomic<bool>* cancelled = nullptr,
                     const std::function<void(double)>& progress = nullptr);
  // A file whose repair failed is tried again only once it has changed, or after this.
  void forgetFailures() { failures_.clear(); }

 private:
  struct FileState {
    ino_t inode;
    off_t size;
    std::int64_t changedAt;  // ns
    bool operator==(const FileState&) const = default;
  };
  // Nothing when the entry is no recording after all.
  std::optional<RecordingFile> look(const RecordingsListing::Entry& entry, const RecordingNameParts& parts);
  // Its length and its marks.
  void readWav(const RecordingsListing::Entry& entry, int file, RecordingFile& found);
  // Whether the interrupted file is mended, here or by another program; that ends later, together with
  // others.
  bool mend(const std::string& name, int file);
  void lookAgainIn(Duration rest);
  void finishRepairs();
  void repairFailed(const std::string& name, const FileState& state, const Error& error);

  Log& log_;
  std::map<std::string, FileState> failures_;  // by path
  // Of the scan that runs.
  std::string folderPath_;
  int folder_ = -1;
  Date now_{};
  RecordingScan result_;
  struct Pending {
    std::string name;
    FileState state;
    WavRepairWriter writer;
  };
  std::vector<Pending> pending_;
};

}  // namespace sonmere
