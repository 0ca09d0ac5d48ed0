#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "app/InstanceLock.h"
#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The socket on which the one program answers that holds the folder's lock: one that a killed program left
// behind is replaced. Main thread.
class ControlEndpoint {
 public:
  static constexpr const char* kSocketName = "control.sock";

  // The lock outlives the endpoint.
  static Outcome<std::unique_ptr<ControlEndpoint>> open(const InstanceLock& lock);
  // Takes the socket away.
  ~ControlEndpoint();

  int descriptor() const { return socket_.get(); }
  const std::filesystem::path& path() const { return path_; }
  // The next waiting connection, not blocking; an invalid one when none waits or its user is another. The
  // error is that of a process or system that has no room for one more; the connection waits on.
  Outcome<FileDescriptor> accept() const;

 private:
  ControlEndpoint(std::filesystem::path path, FileDescriptor socket)
      : path_(std::move(path)), socket_(std::move(socket)) {}

  const std::filesystem::path path_;
  const FileDescriptor socket_;
};

// A connection to the program that answers in the folder. The error's code is an errno value; ENOENT and
// ECONNREFUSED mean that none does.
// `flags` may hold SOCK_NONBLOCK; the error is EAGAIN then where it would wait for its turn.
Outcome<FileDescriptor> connectToControl(const std::filesystem::path& folder, int flags = 0);

}  // namespace sonmere
