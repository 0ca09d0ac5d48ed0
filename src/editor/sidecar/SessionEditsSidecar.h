#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "base/Error.h"
#include "base/Log.h"
#include "editor/sidecar/PersistedSessionEdits.h"

namespace sonmere {

// The hidden file beside a session's audio that holds what the user did to it. In the editors nothing here
// ever reaches the user: a file that can't be read means a session without edits, one that can't be written
// means edits that last until the editor closes. A symbolic link in its place is neither read nor written.
// Whoever changes the file locks it from before it is read until it is replaced. What a save would lose of a
// file that can't be read in full is kept as "{name}.bad". Threads: any but a render thread.
class SessionEditsSidecar {
 public:
  static constexpr const char* kFileName = ".sonmere-edits.json";

  explicit SessionEditsSidecar(Log& log) : log_(log) {}

  std::optional<PersistedSessionEdits> load(const std::filesystem::path& sessionFolder) const;
  // Keeps what it does not know and the tracks of other sessions in the folder; entries of files that are
  // gone drop out.
  void save(const PersistedSessionEdits& edits, const std::filesystem::path& sessionFolder) const;
  // Changes what is saved, in one go with reading it; the caller hears of failures. `change` gets all tracks
  // of the folder, and changes nothing by an error.
  using Change = std::function<Outcome<void>(PersistedSessionEdits&)>;
  Outcome<void> change(const std::filesystem::path& sessionFolder, const Change& change) const;
  // Runs `rename`, which gives the file another name in its folder and tells its new path; the edits of the
  // file go along.
  Outcome<std::string> renameFile(const std::filesystem::path& file,
                                  const std::function<Outcome<std::string>()>& rename) const;

 private:
  std::optional<PersistedSessionEdits> decode(const Outcome<std::string>& json) const;
  Outcome<void> saveUnlocked(const PersistedSessionEdits& edits, const std::filesystem::path& path) const;

  Log& log_;
};

// Whether the name is that of a file directly in a folder.
bool isPlainFileName(const std::string& name);

}  // namespace sonmere
