#pragma once

#include <filesystem>

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Time.h"

namespace sonmere {

// Between processes, and between threads of one: held while a file is read, changed and replaced. The lock is
// a private file beside it, which is there only meanwhile. Threads: any but a render thread.
class FileLock {
 public:
  // Waits so long at most for others, who are dead when they are gone; ETIMEDOUT then. Other errors are of
  // the POSIX domain too: ENOLCK where the file system has no locks. Never through a symbolic link.
  static Outcome<FileLock> take(const std::filesystem::path& path, Duration wait);

  FileLock(FileLock&&) noexcept = default;
  ~FileLock();

 private:
  FileLock(std::filesystem::path path, FileDescriptor file)
      : path_(std::move(path)), file_(std::move(file)) {}

  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace sonmere
