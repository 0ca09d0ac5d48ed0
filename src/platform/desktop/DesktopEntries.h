#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/DesktopEntry.h"
#include "platform/desktop/ProgramName.h"

namespace sonmere {

// The installed applications. Threads: one at a time.
class DesktopEntries {
 public:
  DesktopEntries() = default;
  // Reads "applications/" of the XDG data folders, the user's own first: an ID that appears twice is the
  // first one's. Files that describe no application are passed over.
  static DesktopEntries read();
  static DesktopEntries read(const std::vector<std::string>& dataFolders, std::string_view locale);

  // Does nothing when the ID is known already.
  void add(DesktopEntry entry);

  // By ID, without ".desktop". Null when there is none.
  const DesktopEntry* find(std::string_view id) const;
  // The application that a running program belongs to: the one that starts this very file, else one that
  // starts a file of its folder, else one that bears its name. Among several the one that starts it most
  // plainly. Null when there is none.
  const DesktopEntry* findByProgram(const ProgramName& program) const;

 private:
  using IDs = std::map<std::string, std::vector<std::string>, std::less<>>;
  const DesktopEntry* plainest(const IDs& index, std::string_view key) const;
  void indexProgram(const DesktopEntry& entry);

  std::map<std::string, DesktopEntry, std::less<>> entries_;
  IDs byPath_;
  IDs byFolder_;
  IDs byName_;
};

}  // namespace sonmere
