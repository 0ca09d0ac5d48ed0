#include "platform/desktop/DesktopLoginItem.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "base/AtomicFile.h"
#include "platform/desktop/DesktopApplications.h"
#include "platform/desktop/DesktopEntry.h"
#include "platform/desktop/DesktopFolders.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;
constexpr mode_t kMode = 0644;

std::string autostartFile(const std::string& configFolder) {
  return fmt::format("{}/autostart/{}.desktop", configFolder, kOwnBundleID);
}

// One argument of an Exec line: quoted, escaped for the quotes and then for the file, percent signs doubled.
std::string execQuoted(std::string_view argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$') quoted += "\\\\";
    if (c == '\\') quoted += "\\\\\\";
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return quoted + '"';
}

// Whether the file starts a program; `isThere` tells a file that switches it off from none.
bool startsProgram(const std::string& file, bool& isThere) {
  const auto text = readWholeFile(file);
  isThere = text.has_value();
  if (!text) return false;
  const auto entry = parseDesktopEntry(*text, kOwnBundleID, "C");
  return entry && !entry->hidden && entry->isAutostartEnabled && execArguments(*entry).has_value();
}

}  // namespace

DesktopLoginItem::DesktopLoginItem(const DesktopFolders& folders, std::vector<std::string> command)
    : file_(autostartFile(folders.config)), command_(std::move(command)) {
  for (const std::string& folder : folders.sharedConfig) systemFiles_.push_back(autostartFile(folder));
}

std::vector<std::string> DesktopLoginItem::ownCommand() {
  std::error_code ignored;
  return {fs::read_symlink("/proc/self/exe", ignored).string(), "run", "--at-login"};
}

// The user's own file speaks for itself, whatever the system brings.
bool DesktopLoginItem::isEnabled() {
  bool isThere = false;
  const bool isStarted = startsProgram(file_, isThere);
  return isThere ? isStarted : isOfSystem();
}

bool DesktopLoginItem::isOfSystem() const {
  return std::ranges::any_of(systemFiles_, [](const std::string& file) {
    bool isThere = false;
    return startsProgram(file, isThere);
  });
}

std::string DesktopLoginItem::text(bool isHidden) const {
  std::string exec;
  for (const std::string& each : command_) exec += (exec.empty() ? "" : " ") + execQuoted(each);
  return fmt::format("[Desktop Entry]\nType=Application\nName=Sonmere\nExec={}\nTerminal=false\n{}", exec,
                     isHidden ? "Hidden=true\n" : "");
}

Outcome<void> DesktopLoginItem::registerItem() {
  const auto made = createFolders(fs::path(file_).parent_path());
  return made ? writeFileAtomically(file_, text(false), kMode) : made;
}

Outcome<void> DesktopLoginItem::unregisterItem() {
  if (isOfSystem()) {
    const auto made = createFolders(fs::path(file_).parent_path());
    return made ? writeFileAtomically(file_, text(true), kMode) : made;
  }
  if (std::remove(file_.c_str()) == 0 || errno == ENOENT) return {};
  return std::unexpected(posixError(errno, "Could not remove " + file_));
}

}  // namespace sonmere
