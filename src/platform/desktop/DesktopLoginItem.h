#pragma once

#include <string>
#include <vector>

#include "audio/device/LoginItem.h"

namespace sonmere {

struct DesktopFolders;

// Starts the program with the session by a file in the autostart folder (Desktop Application Autostart
// Specification). A file that the user, or a settings program, marked as hidden or not enabled counts as off.
// Main thread.
class DesktopLoginItem final : public LoginItem {
 public:
  // `command` is the program, as an absolute path, with its arguments.
  DesktopLoginItem(const DesktopFolders& folders, std::vector<std::string> command);

  // This program, as the session starts it.
  static std::vector<std::string> ownCommand();

  bool isEnabled() override;
  Outcome<void> registerItem() override;
  // An item that the system brings for all users is switched off by a hidden one of the user's own.
  Outcome<void> unregisterItem() override;

  const std::string& file() const { return file_; }

 private:
  std::string text(bool isHidden) const;
  bool isOfSystem() const;

  std::string file_;
  std::vector<std::string> systemFiles_;
  std::vector<std::string> command_;
};

}  // namespace sonmere
