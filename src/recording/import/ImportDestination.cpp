#include "recording/import/ImportDestination.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/random.h>

#include <cerrno>
#include <filesystem>
#include <vector>

#include "base/RenameWithoutReplacing.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPrefix = ".sonmere-import-";
constexpr const char* kSuffix = ".tmp";

std::string temporaryIn(const std::string& folder) {
  std::uint64_t bits = 0;
  (void)!::getrandom(&bits, sizeof bits, 0);
  return (fs::path(folder) / fmt::format("{}{:016x}{}", kPrefix, bits, kSuffix)).string();
}

}  // namespace

ImportDestination::ImportDestination(std::string folder)
    : folder_(std::move(folder)),
      temporary_(temporaryIn(folder_)),
      claiming_(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  // A file that was made and not claimed yet looks like a left-over.
  if (claiming_.valid() && ::flock(claiming_.get(), LOCK_EX | LOCK_NB) == 0) sweepLeftOvers();
  if (claiming_.valid()) (void)::flock(claiming_.get(), LOCK_SH);
}

ImportDestination::~ImportDestination() { ::unlink(temporary_.c_str()); }

void ImportDestination::sweepLeftOvers() const {
  std::error_code ignored;
  std::vector<fs::path> found;
  for (fs::directory_iterator entry(folder_, ignored), end; entry != end; entry.increment(ignored)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with(kPrefix) && name.ends_with(kSuffix)) found.push_back(entry->path());
  }
  for (const fs::path& path : found) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.valid() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) ::unlink(path.c_str());
  }
}

Outcome<void> ImportDestination::claim() {
  claim_ = FileDescriptor(::open(temporary_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!claim_.valid()) return std::unexpected(posixError(errno, "could not open " + temporary_));
  // Where there are no locks nothing is swept either.
  if (::flock(claim_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    return std::unexpected(posixError(errno, "could not lock " + temporary_));
  claiming_ = FileDescriptor();
  return {};
}

Outcome<std::string> ImportDestination::publish(const std::string& name, const std::string& stamp) {
  std::string path;
  for (int number = 1;; ++number) {
    const std::string numbered = number == 1 ? name : fmt::format("{} {}", name, number);
    path = (fs::path(folder_) / fmt::format("{} \u2014 {}.wav", numbered, stamp)).string();
    if (renameWithoutReplacing(temporary_, path)) break;
    if (errno != EEXIST) return std::unexpected(posixError(errno, "could not create " + path));
  }
  // The new name reaches the disk with the folder. Some file systems cannot sync one.
  const FileDescriptor folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.valid()) (void)::fsync(folder.get());
  return path;
}

}  // namespace sonmere
