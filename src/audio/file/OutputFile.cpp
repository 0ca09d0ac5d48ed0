#include "audio/file/OutputFile.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "audio/file/WriterError.h"

namespace sonmere {

namespace {

std::unexpected<Error> systemError(int errnoValue, const char* action, const std::string& path) {
  return std::unexpected(posixError(errnoValue, fmt::format("could not {} {}", action, path)));
}

// A file system that can't let go of an open file hides it, and file managers put it into a trash folder.
bool isDiscarded(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  if (name.starts_with(".nfs") || name.starts_with(".fuse_hidden")) return true;
  return path.contains("/Trash/files/") || (path.contains("/.Trash") && path.contains("/files/"));
}

// Empty when the kernel doesn't tell.
std::string pathOfDescriptor(int descriptor) {
  std::array<char, PATH_MAX> target;
  const std::string link = fmt::format("/proc/self/fd/{}", descriptor);
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  return length > 0 ? std::string(target.data(), std::size_t(length)) : "";
}

}  // namespace

// Some file systems give the open file another number than the one under its name.
OutputFile::OutputFile(FileDescriptor file, std::string path)
    : file_(std::move(file)), path_(std::move(path)), tellsPlace_(isAt(path_)) {}

bool OutputFile::isAt(const std::string& path) const {
  struct stat open {
  }, named{};
  return ::fstat(file_.get(), &open) == 0 && ::lstat(path.c_str(), &named) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

FilePlace OutputFile::place() const {
  if (!tellsPlace_ || !isOpen() || isAt(path_)) return {FilePlace::Kind::there, path_};
  const std::string now = pathOfDescriptor(file_.get());
  if (now.empty() || isDiscarded(now) || !isAt(now)) return {FilePlace::Kind::gone, path_};
  return {FilePlace::Kind::moved, now};
}

FileSpace OutputFile::space() const {
  FileSpace space;
  struct stat status {};
  if (::fstat(file_.get(), &status) == 0) space.bytes = std::uint64_t(status.st_size);
  struct statvfs drive {};
  if (::fstatvfs(file_.get(), &drive) == 0 && drive.f_blocks > 0)
    space.freeBytes = std::uint64_t(drive.f_bavail) * drive.f_frsize;
  return space;
}

Outcome<void> OutputFile::writeAt(std::span<const std::uint8_t> bytes, std::uint64_t offset,
                                  std::size_t* written) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t result =
        ::pwrite(file_.get(), bytes.data() + done, bytes.size() - done, off_t(offset + done));
    if (result < 0 && errno == EINTR) continue;
    if (written) *written = done;
    if (result < 0) return systemError(errno, "write", path_);
    // A device that takes nothing and gives no reason is full.
    if (result == 0) return systemError(ENOSPC, "write", path_);
    done += std::size_t(result);
  }
  if (written) *written = done;
  return {};
}

Outcome<std::vector<std::uint8_t>> OutputFile::readAt(std::size_t count, std::uint64_t offset) const {
  std::vector<std::uint8_t> bytes(count);
  const ssize_t result = ::pread(file_.get(), bytes.data(), count, off_t(offset));
  if (result < 0) return systemError(errno, "check", path_);
  bytes.resize(std::size_t(result));
  return bytes;
}

Outcome<void> OutputFile::truncate(std::uint64_t bytes) {
  if (::ftruncate(file_.get(), off_t(bytes)) == 0) return {};
  return systemError(errno, "shorten", path_);
}

Outcome<void> OutputFile::sync() {
  // Some file systems can't.
  if (::fsync(file_.get()) == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return systemError(errno, "store", path_);
}

Outcome<void> OutputFile::checkSize(std::uint64_t bytes) const {
  struct stat status {};
  if (::fstat(file_.get(), &status) != 0) return systemError(errno, "check", path_);
  if (std::uint64_t(status.st_size) == bytes) return {};
  return writerError(WriterFault::notVerified,
                     fmt::format("{} has {} bytes on disk instead of {}", path_, status.st_size, bytes));
}

Outcome<void> OutputFile::close() {
  if (!file_.valid() || ::close(file_.release()) == 0) return {};
  return systemError(errno, "close", path_);
}

Outcome<void> checkBuffer(const PCMBuffer& buffer, const PCMFormat& format, const OutputFile& file) {
  if (!file.isOpen()) {
    return writerError(WriterFault::closed, fmt::format("could not write {}: it is closed", file.path()));
  }
  if (buffer.format() == format) return {};
  return writerError(
      WriterFault::wrongLayout,
      fmt::format("could not write {}: it has {} channels at {} Hz, the buffer {} at {} Hz", file.path(),
                  format.channels, format.sampleRate, buffer.format().channels, buffer.format().sampleRate));
}

}  // namespace sonmere
