#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/DesktopEntry.h"

namespace sonmere {

// The installed applications. Threads: one at a time.
class DesktopEntries {
 public:
  DesktopEntries() = default;
  // Reads "applications/" of the XDG data folders, the user's own first: an ID that appears twice is the
  // first one's. Broken files are passed over.
  static DesktopEntries read();
  static DesktopEntries read(const std::vector<std::string>& dataFolders, std::string_view locale);

  void add(DesktopEntry entry);

  // By ID, without ".desktop". Null when there is none.
  const DesktopEntry* find(std::string_view id) const;
  // The application that a program belongs to, by the program's path or bare name. Among several that start
  // the same program the one that starts it plainly.
  const DesktopEntry* findByProgram(std::string_view program) const;

 private:
  std::map<std::string, DesktopEntry, std::less<>> entries_;
  std::map<std::string, std::vector<std::string>, std::less<>> idsByProgram_;
};

}  // namespace sonmere
