#include "recording/library/WavRepairWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "base/FileDescriptor.h"
#include "recording/library/WavRepair.h"

namespace sonmere {

namespace {

std::unexpected<Error> failure(const char* action) { return std::unexpected(posixError(errno, action)); }

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

FileDescriptor openEntry(int folder, const std::string& name, int access) {
  return FileDescriptor(
      openat(folder, name.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool write(int file, const WavRepair::Patch& patch) {
  std::array<std::uint8_t, 8> bytes{};
  for (int i = 0; i < patch.bytes; ++i) bytes[std::size_t(i)] = std::uint8_t(patch.value >> (8 * i));
  ssize_t count = 0;
  do {
    errno = EIO;  // what a write that ends early is taken for
    count = pwrite(file, bytes.data(), std::size_t(patch.bytes), off_t(patch.at));
  } while (count < 0 && errno == EINTR);
  return count == patch.bytes;
}

// What a repair changes stands in the part of the file that it looks at.
bool syncHead(int file, unsigned how) {
  if (sync_file_range(file, 0, kRepairableHeadBytes, how) == 0) return true;
  return errno == ENOSYS || errno == EINVAL || errno == ESPIPE ? fsync(file) == 0 : false;
}

}  // namespace

Outcome<std::optional<WavRepairWriter>> WavRepairWriter::begin(int folder, const std::string& name,
                                                               const struct stat& seen) {
  // A file that was open for writing is a change to whoever watches the folder: not before it is certain.
  FileDescriptor lock = openEntry(folder, name, O_RDONLY);
  if (!lock.valid()) return failure("Open");
  // Where there are no locks, two programs that mend at once write the same.
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return std::nullopt;
  struct stat status {};
  if (fstat(lock.get(), &status) != 0) return failure("Look at");
  if (!S_ISREG(status.st_mode) || !isSame(status, seen)) return std::nullopt;
  const auto chunks = readWavChunks(readBytesOf(lock.get()));
  const auto plan = chunks ? planWavRepair(*chunks, std::uint64_t(status.st_size)) : std::nullopt;
  if (!plan) return std::nullopt;
  FileDescriptor file = openEntry(folder, name, O_RDWR);
  if (!file.valid() || fstat(file.get(), &status) != 0) return failure("Open");
  if (!isSame(status, seen)) return std::nullopt;
  for (const WavRepair::Patch& patch : plan->patches)
    if (!write(file.get(), patch)) return failure("Write");
  if (!syncHead(file.get(), SYNC_FILE_RANGE_WRITE)) return failure("Write");
  return WavRepairWriter(std::move(lock), std::move(file), plan->audioBytes);
}

// Without the commit of the file system's journal that fsync waits for and makes every recorder wait for: a
// repair that a loss of power takes back is done again by the next scan.
Outcome<void> WavRepairWriter::finish() {
  constexpr unsigned kWriteAndWait =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  const bool isDone = syncHead(file_.get(), kWriteAndWait);
  const int error = errno;
  file_ = FileDescriptor();
  lock_ = FileDescriptor();
  if (!isDone) return std::unexpected(posixError(error, "Write"));
  return {};
}

}  // namespace sonmere
