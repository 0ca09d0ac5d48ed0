#include "editor/export/ExportDestination.h"

#include <fcntl.h>
#include <fmt/format.h>
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
constexpr int kMostTries = 20;
constexpr const char* kExistsText = "this file exists already; choose another name";

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
  ExportDestination destination(path, mayReplace);
  Outcome<void> begun;
  // Another export that fails takes away the folder that it had made.
  for (int i = 0; i < kMostTries; ++i) {
    begun = destination.begin(sources);
    if (begun || begun.error().domain != kPOSIXErrorDomain || begun.error().code != ENOENT) break;
  }
  if (!begun) return std::unexpected(begun.error());
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
  if (!mayReplace_) return refuse(path_, kExistsText, kExportWouldReplace);
  return {};
}

Outcome<void> ExportDestination::begin(std::span<const std::string> sources) {
  folder_.reset();
  auto folder = ExportFolder::make(folderOf(path_).string());
  if (!folder) return std::unexpected(folder.error());
  folder_.emplace(std::move(*folder));
  struct stat status {};
  if (::lstat(temporary_.c_str(), &status) == 0 && isOneOf(sources, status))
    return refuse(temporary_, "this original is in the way; choose another name");
  UnfinishedFile::sweep(folderOf(path_).string());
  auto file = UnfinishedFile::create(temporary_);
  if (!file && file.error().code == EWOULDBLOCK)
    return refuse(path_, "another export is writing this file; wait for its end or choose another name");
  if (!file) return std::unexpected(file.error());
  file_.emplace(std::move(*file));
  return {};
}

Outcome<ExportFile> ExportDestination::open() const {
  auto descriptor = file_->descriptor();
  if (!descriptor) return std::unexpected(descriptor.error());
  return ExportFile(std::move(*descriptor), temporary_);
}

Outcome<void> ExportDestination::commit() {
  if (!file_->isOurs())
    return refuse(path_, "another export took its place; choose another name", kExportOvertaken);
  file_->takeMode(path_);
  file_->unmark();
  if (auto moved = moveInPlace(); !moved) return moved;
  file_->wasMoved();
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
  if (errno == EEXIST) return refuse(path_, kExistsText, kExportOvertaken);
  return std::unexpected(posixError(errno, "could not create " + path_));
}

void ExportDestination::revoke() {
  if (std::exchange(isCommitted_, false) && file_->isOurs(path_)) ::unlink(path_.c_str());
}

}  // namespace sonmere
