#pragma once

#include <optional>
#include <span>
#include <string>

#include "base/Error.h"
#include "editor/export/ExportFile.h"
#include "editor/export/ExportFolder.h"
#include "editor/export/UnfinishedFile.h"

namespace sonmere {

inline constexpr const char* kExportDestinationDomain = "ExportDestination";
// The code of a refusal that `mayReplace` would have spared.
inline constexpr std::int64_t kExportWouldReplace = 2;
// The code of an export that was done and found its place taken by another one.
inline constexpr std::int64_t kExportOvertaken = 3;

// The place of a file that is being exported: what is there stays as it is until the new file is complete.
// Work goes on in a file beside it, whose name has ".tmp" added, and which no other export touches.
// Threads: one at a time.
class ExportDestination {
 public:
  // Refuses names that are no file's, folders, symbolic links and whatever is one of `sources`; unless
  // `mayReplace`, also a file that exists. Changes nothing.
  static Outcome<void> check(const std::string& path, std::span<const std::string> sources, bool mayReplace);
  // After the same check makes the folder where missing and the file to work in. What exports that died left
  // in the folder goes; what another export is writing is refused.
  static Outcome<ExportDestination> prepare(const std::string& path, std::span<const std::string> sources,
                                            bool mayReplace);

  const std::string& path() const { return path_; }
  // What is to be filled.
  Outcome<ExportFile> open() const;
  // Puts the finished temporary file in its place. Without it nothing is left, of folders that were made
  // either.
  Outcome<void> commit();
  // Removes what was committed, when the export of which it was a part failed.
  void revoke();

 private:
  ExportDestination(std::string path, bool mayReplace);

  Outcome<void> checkTarget(std::span<const std::string> sources) const;
  Outcome<void> begin(std::span<const std::string> sources);
  Outcome<void> moveInPlace() const;

  std::optional<ExportFolder> folder_;  // once prepared
  std::string path_;
  std::string temporary_;
  bool mayReplace_;
  bool isCommitted_ = false;
  std::optional<UnfinishedFile> file_;  // once prepared
};

}  // namespace sonmere
