#include "recording/library/RecordingScanner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "recording/library/MP4Duration.h"
#include "recording/library/RecordingSessions.h"
#include "recording/library/WavMarkChunks.h"
#include "recording/library/WavRepair.h"
#include "recording/library/WavRepairWriter.h"

namespace sonmere {

namespace {

// File systems may round the time of a change up to this.
constexpr Duration kChangeTimeUnit = std::chrono::seconds(2);
// Repairs that go to the disk side by side.
constexpr std::size_t kMostPending = 32;

// A file may bear any time; those that nanoseconds can't hold are taken for the nearest that leaves room to
// reckon with.
std::int64_t changedAt(const struct stat& status) {
  constexpr std::int64_t kFarthest = 4'000'000'000;
  return std::clamp<std::int64_t>(status.st_mtim.tv_sec, -kFarthest, kFarthest) * 1'000'000'000 +
         status.st_mtim.tv_nsec;
}

bool isOrdinaryFile(int folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder, name.c_str(), &status, 0) == 0 && S_ISREG(status.st_mode);
}

// 0 when it can't be told.
std::uint64_t sizeOf(int folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder, name.c_str(), &status, 0) == 0 ? std::uint64_t(status.st_size) : 0;
}

// A pipe or a device that took the file's place is not waited for, and does nothing.
FileDescriptor openEntry(int folder, const RecordingsListing::Entry& entry) {
  const int links = entry.isLink ? 0 : O_NOFOLLOW;
  return FileDescriptor(
      openat(folder, entry.name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | links));
}

// Of a file that was changed just now.
bool isBeingMended(int file) {
  if (flock(file, LOCK_SH | LOCK_NB) != 0) return errno == EWOULDBLOCK;
  flock(file, LOCK_UN);
  return false;
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
  finishRepairs();
  result_.sessions = sessions.take();
  return std::move(result_);
}

std::optional<RecordingFile> RecordingScanner::look(const RecordingsListing::Entry& entry,
                                                    const RecordingNameParts& parts) {
  if (entry.isLink && !isOrdinaryFile(folder_, entry.name)) return std::nullopt;
  RecordingFile found;
  found.url = folderPath_ + entry.name;
  found.displayName = recordingDisplayName(parts.name);
  found.format = parts.format;
  const FileDescriptor file = openEntry(folder_, entry);
  if (!file.valid()) {
    if (errno == ENOENT || errno == ELOOP) return std::nullopt;  // gone or replaced since it was listed
    found.fileSize = sizeOf(folder_, entry.name);
    return found;
  }
  // Half as dear as fstat, which counts over thousands of files. A pipe that took the place has no end.
  const off_t size = lseek(file.get(), 0, SEEK_END);
  if (size < 0) return std::nullopt;
  found.fileSize = std::uint64_t(size);
  if (parts.format == RecordingFormat::wav)
    readWav(entry, file.get(), found);
  else
    found.durationSeconds = mp4Seconds(readBytesOf(file.get()), found.fileSize);
  return found;
}

void RecordingScanner::readWav(const RecordingsListing::Entry& entry, int file, RecordingFile& found) {
  const ReadBytesAt read = readBytesOf(file);
  auto chunks = readWavChunks(read);
  if (!chunks) return;
  if (const auto plan = planWavRepair(*chunks, found.fileSize); plan && !entry.isLink)
    // Where it isn't mended now it may have been, since it was read.
    chunks = mend(entry.name, file) ? repairedChunks(*chunks, *plan) : readWavChunks(read);
  if (!chunks) return;
  found.durationSeconds = wavSeconds(*chunks, found.fileSize);
  if (!chunks->format || chunks->format->sampleRate == 0) return;
  for (AudioFileMark& mark : readWavMarks(read, *chunks, found.fileSize))
    found.marks.push_back({double(mark.frame) / chunks->format->sampleRate, std::move(mark.text)});
}

bool RecordingScanner::mend(const std::string& name, int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return false;
  const Duration age = now_.time_since_epoch() - Duration(changedAt(status));
  if (age <= kRepairRest) {
    // A time that is ahead of the clock says nothing.
    if (age >= -kChangeTimeUnit) lookAgainIn(kRepairRest - age + kChangeTimeUnit);
    return isBeingMended(file);
  }
  const FileState state{status.st_ino, status.st_size, changedAt(status)};
  const std::string path = folderPath_ + name;
  if (const auto failed = failures_.find(path); failed != failures_.end() && failed->second == state)
    return false;

  auto writer = WavRepairWriter::begin(folder_, name, status);
  if (!writer) {
    repairFailed(name, state, writer.error());
    return false;
  }
  if (!*writer) {
    // It is somebody else's, who tells by changing it; or who gives up.
    lookAgainIn(kRepairRest);
    return true;
  }
  pending_.push_back({name, state, std::move(**writer)});
  if (pending_.size() == kMostPending) finishRepairs();
  return true;
}

void RecordingScanner::lookAgainIn(Duration rest) {
  result_.nextRepairIn = std::min(rest, result_.nextRepairIn.value_or(rest));
}

void RecordingScanner::finishRepairs() {
  for (Pending& repair : pending_) {
    const auto finished = repair.writer.finish();
    if (!finished) {
      repairFailed(repair.name, repair.state, finished.error());
      continue;
    }
    failures_.erase(folderPath_ + repair.name);
    log_.info(fmt::format("Sonmere: repaired interrupted recording {} ({} bytes of audio)", repair.name,
                          repair.writer.audioBytes()));
    result_.repairs.push_back({repair.name, repair.writer.audioBytes(), std::nullopt});
  }
  pending_.clear();
}

void RecordingScanner::repairFailed(const std::string& name, const FileState& state, const Error& error) {
  failures_[folderPath_ + name] = state;
  log_.error(fmt::format("Sonmere: could not repair {}: {}", name, error.description));
  result_.repairs.push_back({name, 0, error});
}

}  // namespace sonmere
