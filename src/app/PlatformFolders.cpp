#include "app/PlatformFolders.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform/desktop/DesktopFolders.h"

namespace sonmere {

namespace {

enum class Owner { self, another, none };

Owner ownerOf(const std::string& folder) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return Owner::none;
  return info.st_uid == ::geteuid() ? Owner::self : Owner::another;
}

const char* text(Owner owner) {
  return owner == Owner::another ? "belongs to another user" : "does not exist";
}

}  // namespace

Folders userFolders() { return DesktopFolders::ofUser().engineFolders(); }

std::string userSettingsFile() { return DesktopFolders::ofUser().settingsFile; }
std::string userPresetsFolder() { return DesktopFolders::ofUser().data + "/sonmere/presets"; }
std::string userTrash() { return DesktopFolders::ofUser().data + "/Trash"; }

ControlFolder chooseControlFolder() {
  const DesktopFolders folders = DesktopFolders::ofUser();
  const std::string fallback = (std::filesystem::path(folders.state) / "sonmere" / "control").string();
  if (folders.runtime.empty()) return {fallback, std::nullopt};
  const std::string path = folders.runtime + "/sonmere";
  std::string problem;
  if (const Owner owner = ownerOf(folders.runtime); owner != Owner::self)
    problem = fmt::format("XDG_RUNTIME_DIR ({}) {}", folders.runtime, text(owner));
  else if (const Owner inside = ownerOf(path); inside == Owner::another)
    problem = fmt::format("{} {}; remove it with: sudo rm -r {}", path, text(inside), path);
  if (problem.empty()) return {path, std::nullopt};
  return {fallback, fmt::format("{}; commands are taken in {}", problem, fallback)};
}

std::string userControlFolder() { return chooseControlFolder().path; }

std::optional<std::string> foreignHomeText() {
  const char* const home = std::getenv("HOME");
  if (!home || ::geteuid() != 0 || ownerOf(home) != Owner::another) return std::nullopt;
  return fmt::format(
      "HOME ({}) belongs to another user, who could not write to what Sonmere leaves there as root; start it "
      "as "
      "that user, or with sudo -H",
      home);
}

}  // namespace sonmere
