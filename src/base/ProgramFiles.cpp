#include "base/ProgramFiles.h"

#include <unistd.h>

namespace sonmere {

namespace fs = std::filesystem;

fs::path programFolder() {
  std::error_code ignored;
  return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

// Tests stand one folder below.
fs::path buildTree() {
  const fs::path folder = programFolder();
  std::error_code ignored;
  for (const fs::path& top : {folder, folder.parent_path()})
    if (fs::exists(top / "CMakeCache.txt", ignored)) return top;
  return {};
}

std::string helperProgram(const std::string& name) {
  const fs::path tree = buildTree();
  const fs::path place = (tree.empty() ? programFolder().parent_path() / "libexec" / "sonmere" : tree) / name;
  return access(place.c_str(), X_OK) == 0 ? place.string() : std::string();
}

}  // namespace sonmere
