#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The socket on which one program answers, in a folder that only its user can enter. A lock beside it decides
// whose it is: a socket that a killed program left behind is replaced. Main thread.
class ControlEndpoint {
 public:
  static constexpr const char* kSocketName = "control.sock";
  static constexpr const char* kLockName = "control.lock";
  // The code of the error when another program answers here; its text names the process.
  static constexpr std::int64_t kAlreadyRunning = 100;

  // Makes the folder where missing. It must be the user's own.
  static Outcome<std::unique_ptr<ControlEndpoint>> open(const std::filesystem::path& folder);
  // Takes the socket away.
  ~ControlEndpoint();

  int descriptor() const { return socket_.get(); }
  const std::filesystem::path& path() const { return path_; }
  // The next waiting connection, not blocking; an invalid one when none waits or its user is another. The
  // error is that of a process or system that has no room for one more; the connection waits on.
  Outcome<FileDescriptor> accept() const;

 private:
  ControlEndpoint(std::filesystem::path path, FileDescriptor lock, FileDescriptor socket)
      : path_(std::move(path)), lock_(std::move(lock)), socket_(std::move(socket)) {}

  const std::filesystem::path path_;
  const FileDescriptor lock_;
  const FileDescriptor socket_;
};

// A connection to the program that answers in the folder. The error's code is an errno value; ENOENT and
// ECONNREFUSED mean that none does.
Outcome<FileDescriptor> connectToControl(const std::filesystem::path& folder);

}  // namespace sonmere
