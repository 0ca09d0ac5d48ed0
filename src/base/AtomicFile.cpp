#include "base/AtomicFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <mutex>
#include <set>

#include "base/FileDescriptor.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;
constexpr std::string_view kTemporarySuffix = ".tmp";

std::unexpected<Error> failure(const char* action, const fs::path& path) {
  return std::unexpected(posixError(errno, fmt::format("{} {}", action, path.string())));
}

// The temporaries that this process is writing now: their process ID says nothing to a sweep.
class LiveTemporaries {
 public:
  static LiveTemporaries& shared() {
    static LiveTemporaries temporaries;
    return temporaries;
  }
  void add(const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_.insert(name);
  }
  void remove(const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_.erase(name);
  }
  bool contains(const std::string& name) {
    const std::lock_guard lock(mutex_);
    return names_.contains(name);
  }

 private:
  std::mutex mutex_;
  std::set<std::string> names_;
};

// A new file beside the one to be replaced; gone at the end unless it took that one's place.
class TemporaryFile {
 public:
  TemporaryFile(int folder, const std::string& finalName) : folder_(folder), finalName_(finalName) {
    std::uint64_t bits = 0;
    (void)!getrandom(&bits, sizeof bits, 0);
    name_ = fmt::format(".{}.{}.{:016x}{}", finalName, getpid(), bits, kTemporarySuffix);
    LiveTemporaries::shared().add(name_);
  }
  ~TemporaryFile() {
    if (file_.valid() && !isInPlace_) unlinkat(folder_, name_.c_str(), 0);
    LiveTemporaries::shared().remove(name_);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Each step says with errno what went wrong.
  bool create(mode_t mode) {
    file_ = FileDescriptor(openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    return file_.valid() && fchmod(file_.get(), mode) == 0;
  }
  bool write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(file_.get(), bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return false;
      bytes.remove_prefix(std::size_t(count));
    }
    return true;
  }
  bool sync() { return fsync(file_.get()) == 0; }
  bool moveInPlace() {
    isInPlace_ = renameat(folder_, name_.c_str(), folder_, finalName_.c_str()) == 0;
    return isInPlace_;
  }

 private:
  int folder_;
  std::string finalName_;
  std::string name_;
  FileDescriptor file_;
  bool isInPlace_ = false;
};

bool syncFolder(int folder) {
  // Some file systems cannot sync a folder; there the rename is all one can do.
  return fsync(folder) == 0 || errno == EINVAL;
}

// The process ID in the name of a temporary of `name`; 0 for any other file.
pid_t writerOf(std::string_view temporary, const std::string& name) {
  const std::string prefix = "." + name + ".";
  if (!temporary.starts_with(prefix) || !temporary.ends_with(kTemporarySuffix)) return 0;
  temporary.remove_prefix(prefix.size());
  pid_t writer = 0;
  const auto [end, error] = std::from_chars(temporary.data(), temporary.data() + temporary.size(), writer);
  return error == std::errc() && *end == '.' && writer > 0 ? writer : 0;
}

bool isWriting(pid_t writer, const std::string& temporary) {
  if (writer == getpid()) return LiveTemporaries::shared().contains(temporary);
  return kill(writer, 0) == 0 || errno != ESRCH;
}

}  // namespace

Outcome<fs::path> resolveLinks(const fs::path& path) {
  fs::path current = path;
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(current, error);
    if (!fs::is_symlink(status)) return current;
    const fs::path target = fs::read_symlink(current, error);
    if (error) return std::unexpected(posixError(error.value(), "Read the link " + current.string()));
    current = current.parent_path() / target;  // an absolute target replaces all
  }
  errno = ELOOP;
  return failure("Follow", path);
}

Outcome<void> writeFileAtomically(const fs::path& path, std::string_view bytes, mode_t mode) {
  const auto target = resolveLinks(path);
  if (!target) return std::unexpected(target.error());
  const fs::path folderPath = target->has_parent_path() ? target->parent_path() : fs::path(".");
  const FileDescriptor folder(open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.valid()) return failure("Open the folder", folderPath);
  TemporaryFile temporary(folder.get(), target->filename().string());
  if (!temporary.create(mode)) return failure("Create a file in", folderPath);
  if (!temporary.write(bytes) || !temporary.sync()) return failure("Write", path);
  if (!temporary.moveInPlace()) return failure("Replace", path);
  if (!syncFolder(folder.get())) return failure("Save the folder", folderPath);
  return {};
}

Outcome<std::string> readWholeFile(const fs::path& path) {
  // Without O_NONBLOCK a pipe in the file's place would wait for a writer.
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (!file.valid() || fstat(file.get(), &info) != 0) return failure("Read", path);
  if (!S_ISREG(info.st_mode)) {
    errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    return failure("Read", path);
  }
  std::string bytes;
  char block[16384];
  while (true) {
    const ssize_t count = read(file.get(), block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failure("Read", path);
    if (count == 0) return bytes;
    bytes.append(block, std::size_t(count));
  }
}

Outcome<void> createFolders(const fs::path& path, mode_t mode) {
  fs::path built;
  for (const fs::path& part : path) {
    built /= part;
    if (part.empty() || mkdir(built.c_str(), mode) == 0) continue;
    const int reason = errno;
    std::error_code ignored;
    if (fs::is_directory(built, ignored)) continue;
    errno = reason == EEXIST ? ENOTDIR : reason;
    return failure("Create the folder", built);
  }
  return {};
}

void sweepStaleTemporaries(const fs::path& folder, const std::string& name) {
  std::error_code ignored;
  std::vector<fs::path> stale;
  for (fs::directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored)) {
    const std::string temporary = entry->path().filename().string();
    if (const pid_t writer = writerOf(temporary, name); writer != 0 && !isWriting(writer, temporary))
      stale.push_back(entry->path());
  }
  for (const fs::path& path : stale) fs::remove(path, ignored);
}

}  // namespace sonmere
