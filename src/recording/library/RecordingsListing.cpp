#include "recording/library/RecordingsListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// Some file systems don't say in the listing what an entry is.
unsigned char kindOf(int folder, const dirent& entry) {
  struct stat status {};
  if (entry.d_type != DT_UNKNOWN) return entry.d_type;
  if (fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  return S_ISREG(status.st_mode) ? DT_REG : S_ISLNK(status.st_mode) ? DT_LNK : DT_UNKNOWN;
}

}  // namespace

Outcome<RecordingsListing> RecordingsListing::open(const std::string& path) {
  const auto failure = [&path] { return std::unexpected(posixError(errno, "List " + path)); };
  RecordingsListing listing;
  listing.folder = FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!listing.folder.valid()) return failure();
  const int copy = fcntl(listing.folder.get(), F_DUPFD_CLOEXEC, 0);
  const std::unique_ptr<DIR, CloseDirectory> directory(copy < 0 ? nullptr : fdopendir(copy));
  if (!directory) {
    if (copy >= 0) ::close(copy);
    return failure();
  }
  errno = 0;
  while (const dirent* entry = readdir(directory.get())) {
    if (!parseRecordingName(entry->d_name)) continue;
    const unsigned char kind = kindOf(listing.folder.get(), *entry);
    if (kind == DT_REG || kind == DT_LNK) listing.entries.push_back({entry->d_name, kind == DT_LNK});
    errno = 0;
  }
  if (errno != 0) return failure();
  return listing;
}

}  // namespace sonmere
