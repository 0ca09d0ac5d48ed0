#include "editor/export/ExportFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>

namespace sonmere {

namespace {

constexpr std::uint64_t kStoreBytes = 4 << 20;

}  // namespace

Outcome<ExportFile> ExportFile::stream(int descriptor, const std::string& name) {
  FileDescriptor copy(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!copy.valid()) return std::unexpected(posixError(errno, "could not write to " + name));
  return ExportFile(std::move(copy), name, Kind::stream);
}

Outcome<void> ExportFile::append(std::span<const std::uint8_t> bytes) {
  if (auto written = writeAll(size_, bytes); !written) return written;
  size_ += bytes.size();
  if (!isStream() && size_ - stored_ >= kStoreBytes) {
    // Only to keep the disk busy meanwhile; whether all is stored is known at the end.
    (void)::sync_file_range(file_.get(), off_t(stored_), off_t(size_ - stored_), SYNC_FILE_RANGE_WRITE);
    stored_ = size_;
  }
  return {};
}

Outcome<void> ExportFile::rewrite(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  if (isStream() && !bytes.empty()) return std::unexpected(posixError(ESPIPE, "could not write " + path_));
  return writeAll(offset, bytes);
}

Outcome<void> ExportFile::writeAll(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  if (!file_.valid()) return std::unexpected(posixError(EBADF, "could not write " + path_));
  while (!bytes.empty()) {
    const ssize_t count = isStream() ? ::write(file_.get(), bytes.data(), bytes.size())
                                     : ::pwrite(file_.get(), bytes.data(), bytes.size(), off_t(offset));
    if (count < 0 && errno == EINTR) continue;
    // A device that takes nothing and gives no reason is full.
    if (count <= 0)
      return std::unexpected(posixError(count < 0 ? errno : ENOSPC, "could not write " + path_));
    bytes = bytes.subspan(std::size_t(count));
    offset += std::uint64_t(count);
  }
  return {};
}

Outcome<void> ExportFile::close() {
  if (!file_.valid()) return {};
  if (!isStream()) return store();
  if (::close(file_.release()) == 0) return {};
  return std::unexpected(posixError(errno, "could not write " + path_));
}

Outcome<void> ExportFile::store() {
  struct stat status {};
  // A file system that allocates late reports a full disk only here.
  const bool isStored = ::fsync(file_.get()) == 0 || errno == EINVAL || errno == ENOTSUP;
  if (!isStored || ::fstat(file_.get(), &status) != 0) {
    const Error error = posixError(errno, "could not store " + path_);
    ::close(file_.release());
    return std::unexpected(error);
  }
  if (::close(file_.release()) != 0) return std::unexpected(posixError(errno, "could not close " + path_));
  if (std::uint64_t(status.st_size) == size_) return {};
  return std::unexpected(Error{
      "ExportFile", 1, fmt::format("{} has {} bytes on disk instead of {}", path_, status.st_size, size_)});
}

}  // namespace sonmere
