#pragma once

#include <functional>
#include <string>

#include "base/Error.h"

namespace sonmere {

// Notices what happens in one folder. Main thread.
class FolderWatch {
 public:
  // A file of this name appeared, was written to its end, or went; with an empty name: the folder itself
  // went, which ends the watch.
  using OnChange = std::function<void(const std::string& name)>;

  // Nothing is told from now on.
  virtual ~FolderWatch() = default;
  // Watches this folder in place of the one before. An error of ENOENT or ENOTDIR: it isn't there.
  virtual Outcome<void> watch(const std::string& folder, OnChange changed) = 0;
};

}  // namespace sonmere
