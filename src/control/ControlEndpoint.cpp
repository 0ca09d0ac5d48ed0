#include "control/ControlEndpoint.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "base/AtomicFile.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr int kBacklog = 16;

std::unexpected<Error> systemError(const std::string& action) {
  return std::unexpected(posixError(errno, action));
}

Outcome<void> makeOwnFolder(const std::filesystem::path& folder) {
  if (auto made = createFolders(folder); !made) return made;
  struct stat info {};
  if (::lstat(folder.c_str(), &info) != 0) return systemError("Look at " + folder.string());
  if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid())
    return std::unexpected(
        controlError(ControlFault::failed, folder.string() + " is not a folder of this user"));
  if ((info.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0)
    return systemError("Make private " + folder.string());
  return {};
}

Outcome<sockaddr_un> addressOf(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path)
    return std::unexpected(controlError(
        ControlFault::failed, fmt::format("the path of the control socket is too long (at most {} bytes): {}",
                                          sizeof address.sun_path - 1, path.string())));
  std::memcpy(address.sun_path, path.c_str(), path.native().size());
  return address;
}

std::string ownerOf(int lock) {
  char text[32] = {};
  const ssize_t size = ::pread(lock, text, sizeof text - 1, 0);
  return size > 0 ? fmt::format(" (process {})", std::atoi(text)) : "";
}

// Held for as long as the descriptor is open, so that it ends with the process however that ends.
Outcome<FileDescriptor> takeLock(const std::filesystem::path& path) {
  FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock.valid()) return systemError("Open " + path.string());
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return systemError("Lock " + path.string());
    return std::unexpected(Error{kControlErrorDomain, ControlEndpoint::kAlreadyRunning,
                                 "Sonmere is running already" + ownerOf(lock.get())});
  }
  const std::string owner = std::to_string(::getpid()) + "\n";
  const bool isNoted = ::ftruncate(lock.get(), 0) == 0 &&
                       ::pwrite(lock.get(), owner.data(), owner.size(), 0) == ssize_t(owner.size());
  if (!isNoted) return systemError("Write " + path.string());
  return lock;
}

Outcome<FileDescriptor> listenAt(const std::filesystem::path& path) {
  const auto address = addressOf(path);
  if (!address) return std::unexpected(address.error());
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket.valid()) return systemError("Make the control socket");
  ::unlink(path.c_str());
  const mode_t before = ::umask(0177);
  const int bound = ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
  ::umask(before);
  if (bound != 0 || ::listen(socket.get(), kBacklog) != 0) return systemError("Listen at " + path.string());
  return socket;
}

bool isOwnUser(int connection) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

}  // namespace

Outcome<std::unique_ptr<ControlEndpoint>> ControlEndpoint::open(const std::filesystem::path& folder) {
  if (auto made = makeOwnFolder(folder); !made) return std::unexpected(made.error());
  auto lock = takeLock(folder / kLockName);
  if (!lock) return std::unexpected(lock.error());
  auto socket = listenAt(folder / kSocketName);
  if (!socket) return std::unexpected(socket.error());
  return std::unique_ptr<ControlEndpoint>(
      new ControlEndpoint(folder / kSocketName, std::move(*lock), std::move(*socket)));
}

ControlEndpoint::~ControlEndpoint() { ::unlink(path_.c_str()); }

Outcome<FileDescriptor> ControlEndpoint::accept() const {
  FileDescriptor connection(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  const bool hasNoRoom = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
  if (!connection.valid() && hasNoRoom) return systemError("Take a client of the control service");
  if (!connection.valid() || !isOwnUser(connection.get())) return FileDescriptor();
  return connection;
}

Outcome<FileDescriptor> connectToControl(const std::filesystem::path& folder) {
  const auto address = addressOf(folder / ControlEndpoint::kSocketName);
  if (!address) return std::unexpected(address.error());
  FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection.valid()) return systemError("Make a socket");
  if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0)
    return systemError("Connect to Sonmere");
  return connection;
}

}  // namespace sonmere
