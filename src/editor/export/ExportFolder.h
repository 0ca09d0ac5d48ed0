#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace sonmere {

// The folder of an export. What had to be made for it goes again with this object, unless the export was
// kept; a folder in which there is something by then stays. Threads: one at a time.
class ExportFolder {
 public:
  // Makes it and those above it where missing, by the umask: what is in it is to be given away.
  static Outcome<ExportFolder> make(const std::string& path);
  ExportFolder(ExportFolder&&) noexcept = default;
  ~ExportFolder();

  void keep() { made_.clear(); }

 private:
  ExportFolder() = default;

  std::vector<std::string> made_;  // innermost first
};

}  // namespace sonmere
