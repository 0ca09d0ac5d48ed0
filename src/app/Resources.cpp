#include "app/Resources.h"

#include <cstdlib>
#include <filesystem>

#include "base/ProgramFiles.h"

namespace sonmere {

Outcome<std::string> resourceFolder() {
  namespace fs = std::filesystem;
  if (const char* chosen = std::getenv("SONMERE_RESOURCES"); chosen && *chosen) return std::string(chosen);
  std::error_code ignored;
  const fs::path program = programFolder();
  std::string tried;
  for (fs::path folder = program; folder.has_relative_path(); folder = folder.parent_path()) {
    for (const char* inside : {"resources", "share/sonmere"})
      if (fs::is_directory(folder / inside / "demo", ignored)) return (folder / inside).string();
    tried += (tried.empty() ? "" : ", ") + folder.string();
  }
  return std::unexpected(
      Error{"Resources", 1,
            "the program's resources were not found in or above " + tried + "; set SONMERE_RESOURCES"});
}

}  // namespace sonmere
