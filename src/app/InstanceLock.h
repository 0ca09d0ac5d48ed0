#pragma once

#include <filesystem>

#include "base/Error.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// What the one program that runs in a folder holds, however it is controlled: two would tap the same apps. It
// ends with the process, however that ends. Main thread.
class InstanceLock {
 public:
  static constexpr const char* kName = "control.lock";
  static constexpr const char* kErrorDomain = "InstanceLock";
  // The code of the error when another program has it; its text names the process.
  static constexpr std::int64_t kAlreadyRunning = 100;

  // Makes the folder where missing. It must be the user's own, and becomes private.
  static Outcome<InstanceLock> take(const std::filesystem::path& folder);

  // Whether a program has it.
  static bool isHeld(const std::filesystem::path& folder);

  const std::filesystem::path& folder() const { return folder_; }

 private:
  InstanceLock(std::filesystem::path folder, FileDescriptor file)
      : folder_(std::move(folder)), file_(std::move(file)) {}

  std::filesystem::path folder_;
  FileDescriptor file_;
};

}  // namespace sonmere
