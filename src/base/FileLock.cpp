#include "base/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace sonmere {

namespace {

constexpr Duration kFirstPause = fromMilliseconds(1), kLongestPause = fromMilliseconds(50);

std::unexpected<Error> failure(int error, const std::filesystem::path& path) {
  return std::unexpected(posixError(error, "Lock " + path.string()));
}

// The one before may have taken the file away while this one waited for it.
bool isAt(int file, const std::filesystem::path& path) {
  struct stat ours {
  }, there{};
  return fstat(file, &ours) == 0 && lstat(path.c_str(), &there) == 0 && ours.st_dev == there.st_dev &&
         ours.st_ino == there.st_ino;
}

}  // namespace

Outcome<FileLock> FileLock::take(const std::filesystem::path& path, Duration wait) {
  const auto deadline = std::chrono::steady_clock::now() + wait;
  Duration pause = kFirstPause;
  while (true) {
    FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!file.valid()) return failure(errno, path);
    if (flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
      if (isAt(file.get(), path)) return FileLock(path, std::move(file));
      continue;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) return failure(ENOLCK, path);
    if (std::chrono::steady_clock::now() >= deadline)
      return std::unexpected(
          Error{kPOSIXErrorDomain, ETIMEDOUT, path.string() + ": another program holds this lock"});
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, kLongestPause);
  }
}

FileLock::~FileLock() {
  if (file_.valid()) unlink(path_.c_str());
}

}  // namespace sonmere
