#include "app/PlatformLoginItem.h"

#include <filesystem>

#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DesktopLoginItem.h"

namespace sonmere {

bool isInstalledProgram() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().filename() == "bin";
}

std::unique_ptr<LoginItem> userLoginItem() {
  return std::make_unique<DesktopLoginItem>(DesktopFolders::ofUser(), DesktopLoginItem::ownCommand());
}

}  // namespace sonmere
