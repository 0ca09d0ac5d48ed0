#include "app/PlatformLoginItem.h"

#include "base/ProgramFiles.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DesktopLoginItem.h"

namespace sonmere {

bool isInstalledProgram() { return programFolder().filename() == "bin"; }

std::unique_ptr<LoginItem> userLoginItem() {
  return std::make_unique<DesktopLoginItem>(DesktopFolders::ofUser(), DesktopLoginItem::ownCommand());
}

}  // namespace sonmere
