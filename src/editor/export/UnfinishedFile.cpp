#include "editor/export/UnfinishedFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <vector>

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSuffix = ".tmp";
// On the file itself, so that a sweep takes nobody else's files for ours.
constexpr const char* kMark = "user.sonmere.unfinished";
constexpr int kMostTries = 100;
// More than an export has stems; what finds no room is left to the next sweep.
constexpr std::size_t kMostKnown = 64;

std::array<std::atomic<const char*>, kMostKnown> known{};
static_assert(std::atomic<const char*>::is_always_lock_free, "read in a signal handler");

void remember(const char* path) {
  for (auto& each : known) {
    const char* none = nullptr;
    if (each.compare_exchange_strong(none, path)) return;
  }
}

void forget(const char* path) {
  for (auto& each : known) {
    const char* expected = path;
    if (each.compare_exchange_strong(expected, nullptr)) return;
  }
}

bool isAt(int file, const char* path) {
  struct stat ours {
  }, there{};
  return ::fstat(file, &ours) == 0 && ::lstat(path, &there) == 0 && ours.st_dev == there.st_dev &&
         ours.st_ino == there.st_ino;
}

// Not every file system can lock.
bool isLockedElsewhere(int file) { return ::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; }

FileDescriptor openLeftOver(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
}

bool isOrdinary(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Whoever removes a file holds its lock, so that it is not one that was made a moment ago. False says why in
// errno; after true the place may be taken again.
bool removeLeftOver(const std::string& path) {
  if (isOrdinary(path)) {
    const FileDescriptor file = openLeftOver(path);
    if (!file.valid()) return errno == ENOENT;
    if (isLockedElsewhere(file.get())) {
      errno = EWOULDBLOCK;
      return false;
    }
    return !isAt(file.get(), path.c_str()) || ::unlink(path.c_str()) == 0;
  }
  return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

UnfinishedFile::UnfinishedFile(std::string path, FileDescriptor file)
    : path_(std::make_unique<const std::string>(std::move(path))), file_(std::move(file)) {
  remember(path_->c_str());
}

UnfinishedFile::UnfinishedFile(UnfinishedFile&&) noexcept = default;

UnfinishedFile::~UnfinishedFile() {
  if (!path_ || isMoved_) return;
  if (isOurs()) ::unlink(path_->c_str());
  forget(path_->c_str());
}

Outcome<UnfinishedFile> UnfinishedFile::create(const std::string& path) {
  for (int i = 0; i < kMostTries; ++i) {
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.valid()) {
      if (errno != EEXIST || !removeLeftOver(path))
        return std::unexpected(posixError(errno, "could not create " + path));
      continue;
    }
    // Between the two somebody may have taken it for left over.
    if (isLockedElsewhere(file.get()) || !isAt(file.get(), path.c_str())) continue;
    (void)::fsetxattr(file.get(), kMark, "", 0, 0);
    return UnfinishedFile(path, std::move(file));
  }
  return std::unexpected(posixError(EWOULDBLOCK, "could not create " + path));
}

void UnfinishedFile::sweep(const std::string& folder) {
  std::error_code ignored;
  std::vector<std::string> found;
  for (fs::directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored))
    if (entry->path().native().ends_with(kSuffix)) found.push_back(entry->path());
  for (const std::string& path : found) {
    if (!isOrdinary(path)) continue;
    const FileDescriptor file = openLeftOver(path);
    if (file.valid() && ::fgetxattr(file.get(), kMark, nullptr, 0) == 0 && !isLockedElsewhere(file.get()) &&
        isAt(file.get(), path.c_str()))
      ::unlink(path.c_str());
  }
}

void UnfinishedFile::removeAllInSignal() noexcept {
  for (auto& each : known)
    if (const char* const path = each.exchange(nullptr)) ::unlink(path);
}

Outcome<FileDescriptor> UnfinishedFile::descriptor() const {
  FileDescriptor copy(::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
  if (!copy.valid()) return std::unexpected(posixError(errno, "could not open " + *path_));
  return copy;
}

bool UnfinishedFile::isOurs(const std::string& path) const { return isAt(file_.get(), path.c_str()); }

void UnfinishedFile::takeMode(const std::string& path) const {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
    (void)::fchmod(file_.get(), status.st_mode & 0777);
}

void UnfinishedFile::unmark() const { (void)::fremovexattr(file_.get(), kMark); }

void UnfinishedFile::wasMoved() {
  isMoved_ = true;
  forget(path_->c_str());  // what has the name next is another's
}

}  // namespace sonmere
