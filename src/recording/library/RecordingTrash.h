#pragma once

#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Time.h"

namespace sonmere {

// The user's trash as the freedesktop trash specification has it: that of the home folder, and on every other
// file system one of its own ("$topdir/.Trash/$uid" where an administrator made the first, else
// "$topdir/.Trash-$uid"). Desktops show the same. Threads: any but a render thread.
class RecordingTrash {
 public:
  struct Entry {
    std::string path;     // where it is now
    std::string origin;   // where it was
    std::string deleted;  // local time, "YYYY-MM-DDThh:mm:ss"

    bool operator==(const Entry&) const = default;
  };

  // `homeTrash` is "$XDG_DATA_HOME/Trash".
  explicit RecordingTrash(std::string homeTrash) : homeTrash_(std::move(homeTrash)) {}

  // Moves the file there, with a note of where it was; nothing is replaced. Tells where it is then.
  Outcome<std::string> put(const std::string& path, Date now) const;
  // What of this folder is in a trash, latest first.
  std::vector<Entry> entriesOf(const std::string& folder) const;
  // Moves it back; refuses to replace a file.
  Outcome<void> restore(const Entry& entry) const;

 private:
  struct Place {
    std::string trash;
    std::string top;  // what paths in notes are relative to; empty for the home trash
  };
  Outcome<Place> placeFor(const std::string& path) const;
  std::vector<Place> placesFor(const std::string& folder) const;

  const std::string homeTrash_;
};

}  // namespace sonmere
