#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The mending of one WAV file, on its way to the disk. Threads: one at a time, never a render thread.
class WavRepairWriter {
 public:
  // Writes into the file `name` of the folder if it is still the one that was `seen` and still interrupted.
  // Nothing when it was left alone, untouched, because it changed meanwhile or another program is mending it.
  // The folder is an open descriptor; no link is followed and nothing but an ordinary file is written to.
  static Outcome<std::optional<WavRepairWriter>> begin(int folder, const std::string& name,
                                                       const struct stat& seen);
  // Waits until what was written has reached the drive. Until then no other program mends the file.
  Outcome<void> finish();

  std::uint64_t audioBytes() const { return audioBytes_; }

 private:
  WavRepairWriter(FileDescriptor lock, FileDescriptor file, std::uint64_t audioBytes)
      : lock_(std::move(lock)), file_(std::move(file)), audioBytes_(audioBytes) {}

  FileDescriptor lock_;
  FileDescriptor file_;
  std::uint64_t audioBytes_;
};

}  // namespace sonmere
