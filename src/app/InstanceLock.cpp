#include "app/InstanceLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "base/AtomicFile.h"

namespace sonmere {

namespace {

std::unexpected<Error> systemError(const std::string& action) {
  return std::unexpected(posixError(errno, action));
}

Outcome<void> makeOwnFolder(const std::filesystem::path& folder) {
  if (auto made = createFolders(folder); !made) return made;
  struct stat info {};
  if (::lstat(folder.c_str(), &info) != 0) return systemError("Look at " + folder.string());
  if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid())
    return std::unexpected(
        Error{InstanceLock::kErrorDomain, 1, folder.string() + " is not a folder of this user"});
  if ((info.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0)
    return systemError("Make private " + folder.string());
  return {};
}

// One that has just taken it may not have noted itself yet; what stands there then is the one before.
std::string ownerOf(int lock) {
  char text[32] = {};
  if (::pread(lock, text, sizeof text - 1, 0) <= 0) return "";
  const pid_t owner = std::atoi(text);
  return owner > 0 && (::kill(owner, 0) == 0 || errno == EPERM) ? fmt::format(" (process {})", owner) : "";
}

}  // namespace

Outcome<InstanceLock> InstanceLock::take(const std::filesystem::path& folder) {
  if (auto made = makeOwnFolder(folder); !made) return std::unexpected(made.error());
  const std::filesystem::path path = folder / kName;
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file.valid()) return systemError("Open " + path.string());
  if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return systemError("Lock " + path.string());
    return std::unexpected(
        Error{kErrorDomain, kAlreadyRunning, "Sonmere is running already" + ownerOf(file.get())});
  }
  const std::string owner = std::to_string(::getpid()) + "\n";
  const bool isNoted = ::ftruncate(file.get(), 0) == 0 &&
                       ::pwrite(file.get(), owner.data(), owner.size(), 0) == ssize_t(owner.size());
  if (!isNoted) return systemError("Write " + path.string());
  return InstanceLock(folder, std::move(file));
}

bool InstanceLock::isHeld(const std::filesystem::path& folder) {
  const FileDescriptor file(::open((folder / kName).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  return file.valid() && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace sonmere
