#include "recording/RecordingScanner.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "recording/MP4Duration.h"
#include "recording/RecordingSessions.h"
#include "recording/WavRepair.h"
#include "recording/WavRepairWriter.h"

namespace sonmere {

namespace {

// File systems may round the time of a change up to this.
constexpr Duration kChangeTimeUnit = std::chrono::seconds(2);

std::int64_t changedAt(const struct stat& status) {
  return status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
}

bool isOrdinaryFile(int folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder, name.c_str(), &status, 0) == 0 && S_ISREG(status.st_mode);
}

// A pipe or a device that took the file's place is not waited for, and does nothing.
FileDescriptor openEntry(int folder, const RecordingsListing::Entry& entry) {
  const int links = entry.isLink ? 0 : O_NOFOLLOW;
  return FileDescriptor(
      openat(folder, entry.name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | links));
}

}  // namespace

RecordingScan RecordingScanner::scan(const std::string& folder, Date now, const std::atomic<bool>* cancelled,
                                     const std::function<void(double)>& progress) {
  result_ = {};
  now_ = now;
  auto listing = RecordingsListing::open(folder);
  if (!listing) {
    if (listing.error().code != ENOENT) result_.error = listing.error();
    return std::move(result_);
  }
  folder_ = listing->folder.get();
  folderPath_ = folder.ends_with('/') ? folder : folder + "/";
  RecordingSessions sessions(listing->entries.size());
  for (std::size_t i = 0; i < listing->entries.size(); ++i) {
    if (cancelled && *cancelled) break;
    const RecordingsListing::Entry& entry = listing->entries[i];
    const auto parts = parseRecordingName(entry.name);
    if (auto file = look(entry, *parts)) sessions.add(parts->stamp, std::move(*file));
    if (progress) progress(double(i + 1) / double(listing->entries.size()));
  }
  result_.sessions = sessions.take();
  return std::move(result_);
}

std::optional<RecordingFile> RecordingScanner::look(const RecordingsListing::Entry& entry,
                                                    const RecordingNameParts& parts) {
  if (entry.isLink && !isOrdinaryFile(folder_, entry.name)) return std::nullopt;
  struct stat status {};
  const FileDescriptor file = openEntry(folder_, entry);
  const int openError = file.valid() ? 0 : errno;
  const bool isKnown =
      (file.valid() ? fstat(file.get(), &status) : fstatat(folder_, entry.name.c_str(), &status, 0)) == 0;
  // Deleted, or replaced by something else, since the folder was listed.
  if (openError == ENOENT || openError == ELOOP || (isKnown && !S_ISREG(status.st_mode))) return std::nullopt;

  RecordingFile found;
  found.url = folderPath_ + entry.name;
  found.displayName = recordingDisplayName(parts.name);
  found.format = parts.format;
  if (isKnown) found.fileSize = std::uint64_t(status.st_size);
  if (!file.valid() || !isKnown) return found;
  found.durationSeconds = parts.format == RecordingFormat::wav
                              ? wavLength(entry, file.get(), status)
                              : mp4Seconds(readBytesOf(file.get()), found.fileSize);
  return found;
}

double RecordingScanner::wavLength(const RecordingsListing::Entry& entry, int file,
                                   const struct stat& status) {
  auto chunks = readWavChunks(readBytesOf(file));
  if (!chunks) return 0;
  if (!entry.isLink) mend(entry.name, status, *chunks);
  return wavSeconds(*chunks, std::uint64_t(status.st_size));
}

void RecordingScanner::mend(const std::string& name, const struct stat& status, WavChunks& chunks) {
  const auto plan = planWavRepair(chunks, std::uint64_t(status.st_size));
  if (!plan) return;
  const Duration age = now_.time_since_epoch() - Duration(changedAt(status));
  if (age <= kRepairRest) {
    const Duration rest = kRepairRest - age + kChangeTimeUnit;
    // A time that is ahead of the clock says nothing.
    if (age >= -kChangeTimeUnit) result_.nextRepairIn = std::min(rest, result_.nextRepairIn.value_or(rest));
    return;
  }
  const FileState state{status.st_ino, status.st_size, changedAt(status)};
  const std::string path = folderPath_ + name;
  if (const auto failed = failures_.find(path); failed != failures_.end() && failed->second == state) return;

  const auto repaired = repairWavFile(folder_, name, status);
  if (!repaired) {
    failures_[path] = state;
    log_.error(fmt::format("Sonmere: could not repair {}: {}", name, repaired.error().description));
    result_.repairs.push_back({name, 0, repaired.error()});
  } else if (*repaired) {
    failures_.erase(path);
    chunks = repairedChunks(chunks, *plan);
    log_.info(
        fmt::format("Sonmere: repaired interrupted recording {} ({} bytes of audio)", name, **repaired));
    result_.repairs.push_back({name, **repaired, std::nullopt});
  }
}

}  // namespace sonmere
