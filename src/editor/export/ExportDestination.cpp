#include "editor/export/ExportDestination.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "base/RenameWithoutReplacing.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr const char* kTemporarySuffix = ".tmp";

std::unexpected<Error> refuse(const std::string& path, const char* why, std::int64_t code = 1) {
  const std::string shown = path.empty() ? "\"\"" : path;
  return std::unexpected(Error{kExportDestinationDomain, code, fmt::format("{}: {}", shown, why)});
}

fs::path folderOf(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  return folder.empty() ? fs::path(".") : folder;
}

// Links at the end of a source's path are followed: it is the file itself that must stay untouched.
bool isOneOf(std::span<const std::string> sources, const struct stat& file) {
  for (const std::string& source : sources) {
    struct stat status {};
    if (::stat(source.c_str(), &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino)
      return true;
  }
  return false;
}

}  // namespace

ExportDestination::ExportDestination(std::string path, bool mayReplace)
    : path_(std::move(path)), temporary_(path_ + kTemporarySuffix), mayReplace_(mayReplace) {}

ExportDestination::~ExportDestination() {
  if (!isCommitted_ && claim_.valid() && isStillOurs()) ::unlink(temporary_.c_str());
}

Outcome<void> ExportDestination::check(const std::string& path, std::span<const std::string> sources,
                                       bool mayReplace) {
  const std::string name = fs::path(path).filename().string();
  if (path.find('\0') != std::string::npos || name.empty() || name == "." || name == "..")
    return refuse(path, "this is not the name of a file");
  return ExportDestination(path, mayReplace).checkTarget(sources);
}

Outcome<ExportDestination> ExportDestination::prepare(const std::string& path,
                                                      std::span<const std::string> sources, bool mayReplace) {
  // What can't be replaced is told before a folder is made for it.
  if (auto checked = check(path, sources, mayReplace); !checked) return std::unexpected(checked.error());
  auto folder = ExportFolder::make(folderOf(path).string());
  if (!folder) return std::unexpected(folder.error());
  ExportDestination destination(path, mayReplace);
  destination.folder_.emplace(std::move(*folder));
  if (auto removed = destination.removeLeftOver(sources); !removed) return std::unexpected(removed.error());
  return destination;
}

Outcome<void> ExportDestination::checkTarget(std::span<const std::string> sources) const {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) != 0) {
    if (errno == ENOENT) return {};
    return std::unexpected(posixError(errno, "could not write " + path_));
  }
  if (S_ISDIR(status.st_mode)) return refuse(path_, "this is a folder; name a file");
  if (S_ISLNK(status.st_mode)) return refuse(path_, "this is a symbolic link; choose another name");
  if (!S_ISREG(status.st_mode)) return refuse(path_, "this is not an ordinary file; choose another name");
  if (isOneOf(sources, status))
    return refuse(path_, "this is the original, which stays as it is; choose another name");
  if (!mayReplace_)
    return refuse(path_, "this file exists already; choose another name", kExportWouldReplace);
  return {};
}

Outcome<void> ExportDestination::removeLeftOver(std::span<const std::string> sources) const {
  struct stat status {};
  if (::lstat(temporary_.c_str(), &status) != 0) return {};
  if (S_ISREG(status.st_mode)) {
    if (isOneOf(sources, status))
      return refuse(temporary_, "this original is in the way; choose another name");
    const FileDescriptor file(::open(temporary_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (file.valid() && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
      return refuse(path_, "another export is writing this file; wait for its end or choose another name");
  }
  if (::unlink(temporary_.c_str()) == 0 || errno == ENOENT) return {};
  return std::unexpected(posixError(errno, "could not remove " + temporary_));
}

Outcome<void> ExportDestination::claim() {
  claim_ = FileDescriptor(::open(temporary_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!claim_.valid()) {
    const Error error = posixError(errno, "could not open " + temporary_);
    ::unlink(temporary_.c_str());
    return std::unexpected(error);
  }
  // Not every file system can lock; isStillOurs then is what notices a second export.
  if (::flock(claim_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    claim_ = FileDescriptor();  // the other's file, which is not to be removed
    return refuse(path_, "another export is writing this file; wait for its end or choose another name");
  }
  return {};
}

bool ExportDestination::isStillOurs() const {
  struct stat ours {
  }, there{};
  return ::fstat(claim_.get(), &ours) == 0 && ::lstat(temporary_.c_str(), &there) == 0 &&
         ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

Outcome<void> ExportDestination::commit() {
  if (!claim_.valid() || !isStillOurs())
    return refuse(path_, "another export took its place; choose another name", kExportOvertaken);
  if (auto moved = moveInPlace(); !moved) return moved;
  isCommitted_ = true;
  if (folder_) folder_->keep();
  // The new name reaches the disk with the folder. Some file systems cannot sync one.
  const FileDescriptor folder(::open(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.valid()) (void)::fsync(folder.get());
  return {};
}

Outcome<void> ExportDestination::moveInPlace() const {
  if (mayReplace_) {
    if (::rename(temporary_.c_str(), path_.c_str()) == 0) return {};
    return std::unexpected(posixError(errno, "could not replace " + path_));
  }
  if (renameWithoutReplacing(temporary_, path_)) return {};
  return std::unexpected(posixError(errno, "could not create " + path_));
}

void ExportDestination::revoke() {
  if (std::exchange(isCommitted_, false)) ::unlink(path_.c_str());
}

}  // namespace sonmere
