#include "jobs/RecordingJobs.h"

#include <filesystem>

#include "editor/export/SessionExporter.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "jobs/JobError.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingReader.h"
#include "recording/library/RecordingRename.h"
#include "recording/library/RecordingScanner.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

bool isMeant(const RecordingTrash::Entry& entry, const std::string& text) {
  const std::string name = fs::path(entry.origin).filename().string();
  const auto parts = parseRecordingName(name);
  return parts && (name.starts_with(text) || parts->stamp.starts_with(text) ||
                   recordingDisplayName(parts->name) == text);
}

bool isPartOf(const std::string& path, const std::string& whole) {
  const std::string name = fs::path(path).filename().string(),
                    wholeName = fs::path(whole).filename().string();
  const auto parts = parseRecordingName(name), wholeParts = parseRecordingName(wholeName);
  const auto part = parts ? parseRecordingPart(parts->name) : std::nullopt;
  return part && wholeParts && part->name == wholeParts->name && parts->stamp == wholeParts->stamp &&
         parts->format == wholeParts->format;
}

}  // namespace

Outcome<RecordingScan> scanRecordings(const std::string& folder, const JobContext& context) {
  ExportProgress& progress = context.progress;
  RecordingScan scan = RecordingScanner(context.log)
                           .scan(folder, context.runtime.wallTime(), &progress.cancelFlag(),
                                 [&](double done) { progress.advanceTo(done); });
  if (scan.error) return std::unexpected(*scan.error);
  if (progress.isCancelled())
    return std::unexpected(Error{kExportCancelledDomain, 1, "the scan was cancelled"});
  return scan;
}

Outcome<std::string> renameWithEdits(const std::string& path, const std::string& newName, bool keepsStamp,
                                     Log& log) {
  auto renamed =
      SessionEditsSidecar(log).renameFile(path, [&] { return renameRecording(path, newName, keepsStamp); });
  if (renamed) return renamed;
  const Error& error = renamed.error();
  const bool isInput =
      error.domain == kRecordingRenameDomain || error.code == ENOENT || error.code == ENOTDIR;
  return isInput ? badRequest(error.description) : renamed;
}

Outcome<void> checkRecording(const std::string& path) {
  if (parseRecordingName(fs::path(path).filename().string())) return {};
  return badRequest(path + ": its name is not that of a recording");
}

Outcome<std::string> moveToTrash(const std::string& path, const RecordingTrash& trash, Date now) {
  if (auto checked = checkRecording(path); !checked) return std::unexpected(checked.error());
  const auto parts = laterRecordingParts(path);
  auto put = trash.put(path, now);
  if (!put && put.error().code == ENOENT) return badRequest(put.error().description);
  if (!put) return put;
  for (const std::string& part : parts)
    if (auto also = trash.put(part, now); !also) return also;
  return put;
}

Outcome<void> restoreFromTrash(const RecordingTrash::Entry& entry, const std::string& folder,
                               const RecordingTrash& trash) {
  auto restored = trash.restore(entry);
  if (!restored) return restored;
  for (const RecordingTrash::Entry& other : trash.entriesOf(folder))
    if (other.deleted == entry.deleted && isPartOf(other.origin, entry.origin))
      if (restored = trash.restore(other); !restored) return restored;
  return {};
}

std::vector<RecordingTrash::Entry> trashedRecordings(const std::string& folder, const std::string& text,
                                                     const RecordingTrash& trash) {
  auto found = trash.entriesOf(folder);
  std::erase_if(found, [&](const auto& entry) { return !isMeant(entry, text); });
  if (text.empty() && found.size() > 1) found.resize(1);
  return found;
}

}  // namespace sonmere
