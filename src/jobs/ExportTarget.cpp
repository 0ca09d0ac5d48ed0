#include "jobs/ExportTarget.h"

#include <fmt/format.h>

#include <filesystem>

#include "editor/export/ExportDestination.h"
#include "jobs/JobError.h"
#include "recording/RecordingsFolder.h"

namespace sonmere {

namespace fs = std::filesystem;

Outcome<void> checkTarget(const ExportTarget& target, std::span<const std::string> sources) {
  if (target.isStream()) return {};
  if (auto checked = ExportDestination::check(target.path, sources, target.mayReplace); !checked) {
    if (checked.error().domain == kExportDestinationDomain) return checked;
    return badRequest(checked.error().description);
  }
  std::error_code ignored;
  return checkTargetFolder(fs::absolute(target.path, ignored).parent_path().string());
}

Outcome<void> checkTargetFolder(const std::string& folder) {
  std::error_code ignored;
  if (folder.empty()) return badRequest("the folder's name is empty");
  if (isFolderUsable(fs::absolute(folder, ignored).string())) return {};
  return badRequest(fmt::format("{}: this is no folder that files can be written to", folder));
}

}  // namespace sonmere
