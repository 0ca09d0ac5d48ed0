#include "app/PlatformFolders.h"

#include <filesystem>

#include "platform/desktop/DesktopFolders.h"

namespace sonmere {

Folders userFolders() { return DesktopFolders::ofUser().engineFolders(); }

std::string userControlFolder() {
  const DesktopFolders folders = DesktopFolders::ofUser();
  if (!folders.runtime.empty()) return folders.runtime + "/sonmere";
  return (std::filesystem::path(folders.state) / "sonmere" / "control").string();
}

}  // namespace sonmere
