#include "editor/export/ExportFolder.h"

#include <unistd.h>

#include <filesystem>

#include "base/AtomicFile.h"

namespace sonmere {

namespace fs = std::filesystem;

Outcome<ExportFolder> ExportFolder::make(const std::string& path) {
  ExportFolder folder;
  std::error_code ignored;
  for (fs::path at = path; !at.empty() && at != at.root_path() && !fs::exists(at, ignored);
       at = at.parent_path())
    if (at.has_filename()) folder.made_.push_back(at.string());
  if (auto made = createFolders(path, 0777); !made)
    return std::unexpected(Error{made.error().domain, made.error().code,
                                 "Couldn't create export folder: " + made.error().description});
  return folder;
}

ExportFolder::~ExportFolder() {
  for (const std::string& path : made_)
    if (::rmdir(path.c_str()) != 0) return;
}

}  // namespace sonmere
