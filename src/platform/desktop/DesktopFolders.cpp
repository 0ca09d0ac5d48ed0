#include "platform/desktop/DesktopFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "base/AtomicFile.h"

namespace sonmere {

namespace {

std::string processEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::string homeOf(const DesktopFolders::Environment& environment) {
  if (std::string home = environment("HOME"); home.starts_with('/')) return home;
  std::array<char, 16384> buffer;
  passwd entry{}, *found = nullptr;
  const bool isKnown = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found;
  return isKnown && entry.pw_dir ? entry.pw_dir : "";
}

// Without a home from the root on, where nothing is mistaken for the user's: never in the current folder.
std::string joined(const std::string& folder, std::string_view rest) {
  return folder + '/' + std::string(rest);
}

std::vector<std::string> listOr(const std::string& list, const char* fallback) {
  auto folders = splitFolders(list);
  return folders.empty() ? splitFolders(fallback) : folders;
}

std::string messageLocale(const DesktopFolders::Environment& environment) {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (std::string value = environment(name); !value.empty()) return value;
  return "C";
}

std::string musicFolder(const std::string& config, const std::string& home) {
  const auto text = readWholeFile(joined(config, "user-dirs.dirs"));
  std::string music = text ? parseUserFolder(*text, "XDG_MUSIC_DIR", home) : "";
  // The home itself stands for "no such folder".
  return music.empty() || music == home ? joined(home, "Music") : music;
}

}  // namespace

std::vector<std::string> splitFolders(std::string_view list) {
  std::vector<std::string> folders;
  while (!list.empty()) {
    const auto end = list.find(':');
    if (const auto folder = list.substr(0, end); folder.starts_with('/')) folders.emplace_back(folder);
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
  return folders;
}

// A line reads XDG_MUSIC_DIR="$HOME/Music"; the shell's escapes are undone.
std::string parseUserFolder(std::string_view text, std::string_view key, std::string_view home) {
  constexpr std::string_view kHome = "$HOME";
  const std::string start = std::string(key) + "=\"";
  std::string found;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t")));
    if (!line.starts_with(start)) continue;
    line.remove_prefix(start.size());
    std::string value;
    const bool isInHome = line.starts_with(kHome);
    if (isInHome) line.remove_prefix(kHome.size());
    for (std::size_t i = 0; i < line.size() && line[i] != '"'; ++i)
      value += line[i] == '\\' && i + 1 < line.size() ? line[++i] : line[i];
    while (value.ends_with('/')) value.pop_back();
    if (isInHome) value = std::string(home) + value;
    found = value.starts_with('/') ? value : "";
  }
  return found;
}

DesktopFolders DesktopFolders::ofUser() { return ofUser(processEnvironment); }

DesktopFolders DesktopFolders::ofUser(const Environment& environment) {
  const std::string home = homeOf(environment);
  const auto folder = [&](const char* name, std::string_view fallback) {
    std::string value = environment(name);
    return value.starts_with('/') ? value : joined(home, fallback);
  };
  DesktopFolders folders;
  folders.config = folder("XDG_CONFIG_HOME", ".config");
  folders.state = folder("XDG_STATE_HOME", ".local/state");
  folders.data = folder("XDG_DATA_HOME", ".local/share");
  folders.cache = folder("XDG_CACHE_HOME", ".cache");
  if (std::string runtime = environment("XDG_RUNTIME_DIR"); runtime.starts_with('/'))
    folders.runtime = std::move(runtime);
  folders.sharedData = listOr(environment("XDG_DATA_DIRS"), "/usr/local/share:/usr/share");
  folders.sharedConfig = listOr(environment("XDG_CONFIG_DIRS"), "/etc/xdg");
  folders.music = musicFolder(folders.config, home);
  folders.locale = messageLocale(environment);
  folders.settingsFile = environment("SONMERE_SETTINGS");
  if (folders.settingsFile.empty()) folders.settingsFile = joined(folders.config, "sonmere/settings.json");
  return folders;
}

Folders DesktopFolders::engineFolders() const {
  return {joined(state, "sonmere"), joined(music, "Sonmere Recordings")};
}

}  // namespace sonmere
