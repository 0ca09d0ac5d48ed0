#include "control/ControlEndpoint.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr int kBacklog = 16;

std::unexpected<Error> systemError(const std::string& action) {
  return std::unexpected(posixError(errno, action));
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

Outcome<std::unique_ptr<ControlEndpoint>> ControlEndpoint::open(const InstanceLock& lock) {
  const std::filesystem::path path = lock.folder() / kSocketName;
  auto socket = listenAt(path);
  if (!socket) return std::unexpected(socket.error());
  return std::unique_ptr<ControlEndpoint>(new ControlEndpoint(path, std::move(*socket)));
}

ControlEndpoint::~ControlEndpoint() { ::unlink(path_.c_str()); }

Outcome<FileDescriptor> ControlEndpoint::accept() const {
  FileDescriptor connection(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  const bool hasNoRoom = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
  if (!connection.valid() && hasNoRoom) return systemError("Take a client of the control service");
  if (!connection.valid() || !isOwnUser(connection.get())) return FileDescriptor();
  return connection;
}

Outcome<FileDescriptor> connectToControl(const std::filesystem::path& folder, int flags) {
  const auto address = addressOf(folder / ControlEndpoint::kSocketName);
  if (!address) return std::unexpected(address.error());
  FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  if (!connection.valid()) return systemError("Make a socket");
  if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0)
    return systemError("Connect to Sonmere");
  return connection;
}

}  // namespace sonmere
