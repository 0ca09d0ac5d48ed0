#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/device/Folders.h"

namespace sonmere {

// The user's folders (XDG Base Directory Specification 0.8, xdg-user-dirs). Paths are absolute; a
// folder need not exist.
struct DesktopFolders {
  std::string config;
  std::string state;
  std::string data;
  std::string cache;
  std::string runtime;  // empty when the session has none
  std::string music;
  std::vector<std::string> sharedData;    // in order of preference
  std::vector<std::string> sharedConfig;  // in order of preference
  std::string locale;                     // of messages, as "de_AT.UTF-8"
  std::string settingsFile;               // $SONMERE_SETTINGS, else "sonmere/settings.json" under `config`

  using Environment = std::function<std::string(const char* name)>;
  static DesktopFolders ofUser();
  static DesktopFolders ofUser(const Environment& environment);

  // Where the engines keep their files: under `state` and in the music folder.
  Folders engineFolders() const;
};

// The folders of a list like $PATH; relative ones count as none.
std::vector<std::string> splitFolders(std::string_view list);

// The folder of `key` ("XDG_MUSIC_DIR") in the text of user-dirs.dirs; empty when it names none.
std::string parseUserFolder(std::string_view text, std::string_view key, std::string_view home);

}  // namespace sonmere
