#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "audio/file/FilePlace.h"
#include "audio/file/FileSpace.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// A file that is written at given places. Errors name it. Threads: one at a time, never a render thread.
class OutputFile {
 public:
  OutputFile(FileDescriptor file, std::string path);

  bool isOpen() const { return file_.valid(); }
  const std::string& path() const { return path_; }

  // Writes all bytes; `written` tells how many of them are in the file after an error.
  Outcome<void> writeAt(std::span<const std::uint8_t> bytes, std::uint64_t offset,
                        std::size_t* written = nullptr);
  // At most `count` bytes.
  Outcome<std::vector<std::uint8_t>> readAt(std::size_t count, std::uint64_t offset) const;
  Outcome<void> truncate(std::uint64_t bytes);
  // A file system that allocates late reports a full disk only here.
  Outcome<void> sync();
  Outcome<void> checkSize(std::uint64_t bytes) const;
  // Asks the file system, which may take its time.
  FilePlace place() const;
  FileSpace space() const;
  Outcome<void> close();
  // Closes without a look at what is in it.
  void abandon() { file_ = FileDescriptor(); }

 private:
  bool isAt(const std::string& path) const;

  FileDescriptor file_;
  const std::string path_;
  const bool tellsPlace_;
};

// Whether a buffer can be written into a file that is of this format.
Outcome<void> checkBuffer(const PCMBuffer& buffer, const PCMFormat& format, const OutputFile& file);

}  // namespace sonmere
