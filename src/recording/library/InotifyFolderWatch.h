#pragma once

#include <memory>

#include "base/FileDescriptor.h"
#include "base/FileDescriptorWatcher.h"
#include "base/Lifetime.h"
#include "recording/library/FolderWatch.h"

namespace sonmere {

// By the kernel's notes of changes; sleeps while there are none. A file that is being written tells nothing
// until it is closed. The watcher outlives this.
class InotifyFolderWatch final : public FolderWatch {
 public:
  static Outcome<std::unique_ptr<FolderWatch>> create(FileDescriptorWatcher& watcher);
  ~InotifyFolderWatch() override;

  Outcome<void> watch(const std::string& folder, OnChange changed) override;

 private:
  InotifyFolderWatch(FileDescriptorWatcher& watcher, FileDescriptor notes);
  void read();
  void endWatch();

  FileDescriptorWatcher& watcher_;
  const FileDescriptor notes_;
  int watch_ = -1;
  OnChange changed_;
  Lifetime lifetime_;
};

}  // namespace sonmere
