#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sonmere {

// An installed application, as its .desktop file describes it (Desktop Entry Specification 1.5).
struct DesktopEntry {
  std::string id;  // "org.example.Player" for "org.example.Player.desktop"
  std::string name;
  std::string icon;     // name in the icon theme, or a path
  std::string exec;     // command line with field codes, as written
  std::string path;     // working folder; empty: none wanted
  std::string wmClass;  // StartupWMClass: for many toolkits the program's own name
  std::string file;     // where it was read from
  // The program that Exec runs, with all links followed; empty when it is not there.
  std::string program;
  bool noDisplay = false;
  bool hidden = false;  // counts as not installed
  bool needsTerminal = false;
  bool isAutostartEnabled = true;  // by settings programs, in an autostart folder
  bool isTerminal = false;         // a terminal emulator: what runs inside it is something else
};

// Reads the text of a .desktop file; nothing when it describes no application. `locale` is a POSIX locale
// such as "de_AT.UTF-8@euro"; the best fitting translation of the name wins. `program` stays empty.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, std::string_view id,
                                              std::string_view locale);

// The arguments of an Exec line: quotes and escapes undone, field codes filled in or dropped. Nothing when
// the line is not well formed.
std::optional<std::vector<std::string>> execArguments(const DesktopEntry& entry);

}  // namespace sonmere
