#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The bytes of an export on their way to the disk: in large writes, which the disk begins to store at once.
// Threads: one at a time.
class ExportFile {
 public:
  // A file, or a pipe into another program, which takes bytes in their order alone.
  enum class Kind { file, stream };
  // Takes an empty file; `path` is what errors name.
  ExportFile(FileDescriptor file, std::string path, Kind kind = Kind::file)
      : file_(std::move(file)), path_(std::move(path)), kind_(kind) {}

  // Into what is open there already; the descriptor stays open.
  static Outcome<ExportFile> stream(int descriptor, const std::string& name);

  const std::string& path() const { return path_; }
  std::uint64_t size() const { return size_; }
  bool isStream() const { return kind_ == Kind::stream; }
  // Appends all bytes, or fails with the system's reason.
  Outcome<void> append(std::span<const std::uint8_t> bytes);
  // Replaces bytes that were written before; not of a stream.
  Outcome<void> rewrite(std::uint64_t offset, std::span<const std::uint8_t> bytes);
  // The file for somebody else to fill, from its beginning.
  FileDescriptor release() { return std::move(file_); }
  // Waits until all is stored, checks the length and closes; a second call does nothing.
  Outcome<void> close();

 private:
  Outcome<void> writeAll(std::uint64_t offset, std::span<const std::uint8_t> bytes);
  Outcome<void> store();

  FileDescriptor file_;
  std::string path_;
  Kind kind_;
  std::uint64_t size_ = 0;
  std::uint64_t stored_ = 0;  // up to here the disk was told to begin
};

}  // namespace sonmere
