#include "app/PlatformFootprint.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "app/PlatformDriver.h"
#include "app/PlatformFolders.h"
#include "app/PlatformLoginItem.h"
#include "app/PlatformService.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DesktopLoginItem.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;
using Kind = Footprint::Kind;

bool isThere(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

// What the program itself calls a file beside the settings: the rest is somebody else's, whatever its name.
bool isBesideSettings(std::string_view ending) {
  return ending.empty() || ending == ".lock" || ending == ".next" || ending == ".bad" ||
         ending.starts_with(".bad.") || ending.starts_with(".backup-");
}

// The settings file and what lies beside it: backups, what was set aside, what waits.
std::vector<std::string> settingsFiles(const fs::path& settings) {
  std::vector<std::string> found;
  std::error_code ignored;
  const std::string own = settings.filename().string();
  for (fs::directory_iterator entry(settings.parent_path(), ignored), end; entry != end;
       entry.increment(ignored)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with(own) && isBesideSettings(name.substr(own.size())))
      found.push_back(entry->path().string());
  }
  std::ranges::sort(found);
  return found;
}

bool isInside(const fs::path& path, const fs::path& folder) {
  std::error_code ignored;
  const fs::path inner = fs::weakly_canonical(path, ignored), outer = fs::weakly_canonical(folder, ignored);
  return std::ranges::mismatch(outer, inner).in1 == outer.end();
}

void addPaths(std::vector<Footprint>& all, Kind kind, std::vector<std::string> paths,
              const std::vector<std::string>& recordings) {
  std::erase_if(paths, [](const std::string& path) { return !isThere(path); });
  if (paths.empty()) return;
  const bool holdsRecordings = std::ranges::any_of(paths, [&](const std::string& path) {
    return std::ranges::any_of(recordings, [&](const auto& each) { return isInside(each, path); });
  });
  all.push_back({kind, std::move(paths), holdsRecordings ? "recordings are in it" : ""});
}

Outcome<void> removePaths(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    std::error_code error;
    fs::remove_all(path, error);
    if (error) return std::unexpected(posixError(error.value(), "remove " + path));
  }
  return {};
}

// A folder of the program's own goes once nothing is left in it.
Outcome<void> removeSettings(const std::vector<std::string>& paths) {
  if (auto removed = removePaths(paths); !removed) return removed;
  const fs::path folder = fs::path(paths.front()).parent_path();
  std::error_code ignored;
  if (folder.filename() == "sonmere") fs::remove(folder, ignored);
  return {};
}

Outcome<void> removeDevices() {
  const auto change = userDriver()->remove();
  if (!change) return std::unexpected(change.error());
  unloadDriverDevices();
  return {};
}

}  // namespace

const char* name(Kind kind) {
  switch (kind) {
    case Kind::service:
      return "service";
    case Kind::loginItem:
      return "login-item";
    case Kind::devices:
      return "devices";
    case Kind::settings:
      return "settings";
    case Kind::presets:
      return "presets";
    case Kind::state:
      return "state";
    case Kind::cache:
      return "cache";
    case Kind::runtime:
      return "runtime";
  }
  return "";
}

const char* meaning(Kind kind) {
  switch (kind) {
    case Kind::service:
      return "the service starts with your session";
    case Kind::loginItem:
      return "the program starts with your session";
    case Kind::devices:
      return "the virtual devices";
    case Kind::settings:
      return "settings and their backups";
    case Kind::presets:
      return "presets of equalisers and routings";
    case Kind::state:
      return "histories, health records, states of plug-ins";
    case Kind::cache:
      return "what is known of plug-ins";
    case Kind::runtime:
      return "the socket of the program";
  }
  return "";
}

std::vector<Footprint> footprints(const std::vector<std::string>& recordings) {
  const DesktopFolders folders = DesktopFolders::ofUser();
  std::vector<Footprint> all;
  const std::string link = folders.config + "/systemd/user/default.target.wants/" + kServiceUnit;
  if (isThere(link) || serviceState().isEnabled) all.push_back({Kind::service, {link}, ""});
  addPaths(all, Kind::loginItem, {DesktopLoginItem(folders, DesktopLoginItem::ownCommand()).file()}, {});
  const DriverOnDisk driver = userDriver()->look();
  if (driver.state != DriverOnDisk::State::absent)
    all.push_back({Kind::devices, {driver.place}, driver.problem.value_or("")});
  addPaths(all, Kind::settings, settingsFiles(folders.settingsFile), recordings);
  addPaths(all, Kind::presets, {folders.data + "/sonmere"}, recordings);
  addPaths(all, Kind::state, {folders.state + "/sonmere"}, recordings);
  addPaths(all, Kind::cache, {folders.cache + "/sonmere"}, recordings);
  addPaths(all, Kind::runtime, {userControlFolder()}, recordings);
  return all;
}

Outcome<void> removeFootprint(const Footprint& footprint) {
  switch (footprint.kind) {
    case Kind::service: {
      // Without a service manager the link alone is what there is.
      (void)setServiceEnabled(false);
      return removePaths(footprint.paths);
    }
    case Kind::devices:
      return removeDevices();
    case Kind::settings:
      return removeSettings(footprint.paths);
    default:
      return removePaths(footprint.paths);
  }
}

}  // namespace sonmere
