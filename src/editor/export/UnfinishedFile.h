#pragma once

#include <memory>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// A file on its way to its name: this process's alone, by a lock on the descriptor that made it, and gone
// with this object unless it was moved. One that a dead process left in its place is removed, one that
// another process is at is not. Where the file system has no locks, `isOurs` tells whose it is. Threads: one
// at a time; `removeAllInSignal` any.
class UnfinishedFile {
 public:
  // With the mode that the umask leaves. EWOULDBLOCK: another process is at it. Never through a symbolic
  // link.
  static Outcome<UnfinishedFile> create(const std::string& path);
  // Of those that died removes what carries their mark, whatever it was to become. Never fails.
  static void sweep(const std::string& folder);
  // Removes the files of all objects there are. Safe in a signal handler that ends the process.
  static void removeAllInSignal() noexcept;

  UnfinishedFile(UnfinishedFile&&) noexcept;
  ~UnfinishedFile();

  // To write by; the lock is with all of its copies.
  Outcome<FileDescriptor> descriptor() const;
  // Whether what has a name is this very file.
  bool isOurs(const std::string& path) const;
  bool isOurs() const { return isOurs(*path_); }
  // The permissions of a file that it is to replace, where there is one.
  void takeMode(const std::string& path) const;
  // To be called in front of the move to its name, and behind it.
  void unmark() const;
  void wasMoved();

 private:
  UnfinishedFile(std::string path, FileDescriptor file);

  std::unique_ptr<const std::string> path_;  // stays where the handler of a signal looks for it
  FileDescriptor file_;
  bool isMoved_ = false;
};

}  // namespace sonmere
