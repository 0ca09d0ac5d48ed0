#pragma once

#include <filesystem>
#include <optional>

#include "base/Log.h"
#include "editor/sidecar/PersistedSessionEdits.h"

namespace sonmere {

// The hidden file beside a session's audio that holds what the user did to it. Nothing here ever reaches the
// user: a file that can't be read means a session without edits, one that can't be written means edits that
// last until the editor closes. A symbolic link in its place is neither read nor written.
// Threads: any but a render thread; saves of one folder one at a time.
class SessionEditsSidecar {
 public:
  static constexpr const char* kFileName = ".sonmere-edits.json";

  explicit SessionEditsSidecar(Log& log) : log_(log) {}

  std::optional<PersistedSessionEdits> load(const std::filesystem::path& sessionFolder) const;
  // Keeps what it does not know and the tracks of other sessions in the folder; entries of files that are
  // gone drop out.
  void save(const PersistedSessionEdits& edits, const std::filesystem::path& sessionFolder) const;
  // A file of the folder got another name: its edits go along.
  void fileWasRenamed(const std::string& from, const std::string& to,
                      const std::filesystem::path& sessionFolder) const;

 private:
  void write(const std::string& json, const std::filesystem::path& path) const;

  Log& log_;
};

// Whether the name is that of a file directly in a folder.
bool isPlainFileName(const std::string& name);

}  // namespace sonmere
