#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "base/Error.h"
#include "base/Log.h"
#include "base/SettingsValue.h"

namespace sonmere {

// The file of a settings store: one JSON object, private to its user, that several processes may change. What
// a change does not name stays as it is in the file, known or not. Threads: one at a time.
class SettingsFile {
 public:
  using Values = std::map<std::string, SettingsValue, std::less<>>;
  // Keys to set, and with no value keys to remove.
  using Changes = std::map<std::string, std::optional<SettingsValue>, std::less<>>;

  SettingsFile(Log& log, std::filesystem::path path);

  // All values. A missing file has none. A damaged one is set aside under another name, with a warning;
  // values that can't be read cost no other.
  Outcome<Values> load();
  // Puts the changes into what the file holds now, under a lock against other processes, which is waited for
  // for a moment; ETIMEDOUT then.
  Outcome<void> apply(const Changes& changes);
  // Keeps changes that can't be applied now in a file beside it, which the next load() takes up.
  Outcome<std::filesystem::path> keepForLater(const Changes& changes);

  const std::filesystem::path& path() const { return path_; }

 private:
  Outcome<void> prepareFolder();
  std::filesystem::path lockPath() const;
  Outcome<std::string> readAtStart();
  void takeUpUnsaved(const std::filesystem::path& folder);
  Outcome<std::string> readOrSetAside();
  Outcome<void> setAside(const std::string& reason);
  Outcome<void> dropUnreadable(const std::set<std::string>& keys, const std::string& text);

  Log& log_;
  std::filesystem::path path_;
  // The last content known to be good: what a file that was damaged meanwhile is made from again.
  std::string lastGood_ = "{}";
};

}  // namespace sonmere
