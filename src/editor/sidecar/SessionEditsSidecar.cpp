#include "editor/sidecar/SessionEditsSidecar.h"

#include <fmt/format.h>

#include <cerrno>

#include "base/AtomicFile.h"
#include "base/FileLock.h"
#include "editor/sidecar/SessionEditsCodec.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

// Sixteen tracks are some kilobytes; a folder may hold thousands of sessions.
constexpr std::uintmax_t kLargestFile = 64 << 20;
// What holds the lock for longer has stopped.
constexpr Duration kLockWait = std::chrono::seconds(5);

std::unexpected<Error> failure(const fs::path& path, const char* why) {
  return std::unexpected(Error{"SessionEditsSidecar", 1, fmt::format("{}: {}", path.string(), why)});
}

// Empty when there is no such file.
Outcome<std::string> read(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (status.type() == fs::file_type::not_found) return std::string();
  if (fs::is_symlink(status)) return failure(path, "it is a symbolic link");
  if (fs::is_regular_file(status) && fs::file_size(path, error) > kLargestFile)
    return failure(path, "it is too large for what it should hold");
  return readWholeFile(path);
}

bool isThere(const fs::path& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

// Where files can't be locked the work goes on without.
Outcome<std::optional<FileLock>> lock(const fs::path& sidecar) {
  auto lock = FileLock::take(sidecar.string() + ".lock", kLockWait);
  if (lock) return std::move(*lock);
  if (lock.error().code == ETIMEDOUT) return std::unexpected(lock.error());
  return std::nullopt;
}

// As "{name}.bad", or with a number behind it.
Outcome<fs::path> keepCopy(const fs::path& path) {
  const std::string first = path.string() + ".bad";
  fs::path kept = first;
  for (int number = 1; isThere(kept); ++number) kept = fmt::format("{}.{}", first, number);
  std::error_code error;
  fs::create_hard_link(path, kept, error);
  if (error) fs::rename(path, kept, error);
  if (error) return std::unexpected(posixError(error.value(), "could not keep " + path.string()));
  return kept;
}

}  // namespace

bool isPlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

std::optional<PersistedSessionEdits> SessionEditsSidecar::load(const fs::path& sessionFolder) const {
  const fs::path path = sessionFolder / kFileName;
  sweepStaleTemporaries(sessionFolder, kFileName);
  return isThere(path) ? decode(read(path)) : std::nullopt;
}

std::optional<PersistedSessionEdits> SessionEditsSidecar::decode(const Outcome<std::string>& json) const {
  auto edits = json ? SessionEditsCodec::decode(*json) : std::unexpected(json.error());
  if (edits && !SessionEditsCodec::hasNoKeyTwice(*json))
    log_.info("SessionEditsSidecar: a key stands twice; what stands last counts");
  if (edits) return std::move(*edits);
  if (edits.error().domain == SessionEditsCodec::kNewerSchemaDomain)
    log_.info(fmt::format("SessionEditsSidecar: ignoring newer schema v{}", edits.error().code));
  else
    log_.info("SessionEditsSidecar: parse failed: " + edits.error().description);
  return std::nullopt;
}

void SessionEditsSidecar::save(const PersistedSessionEdits& edits, const fs::path& sessionFolder) const {
  const fs::path path = sessionFolder / kFileName;
  const auto locked = lock(path);
  const auto saved = locked ? saveUnlocked(edits, path) : std::unexpected(locked.error());
  if (!saved) log_.error("SessionEditsSidecar: write failed: " + saved.error().description);
}

Outcome<void> SessionEditsSidecar::change(const fs::path& sessionFolder, const Change& change) const {
  const fs::path path = sessionFolder / kFileName;
  const auto locked = lock(path);
  if (!locked) return std::unexpected(locked.error());
  PersistedSessionEdits edits = load(sessionFolder).value_or(PersistedSessionEdits{});
  if (auto changed = change(edits); !changed) return changed;
  return saveUnlocked(edits, path);
}

Outcome<std::string> SessionEditsSidecar::renameFile(
    const fs::path& file, const std::function<Outcome<std::string>()>& rename) const {
  const fs::path path = file.parent_path() / kFileName;
  const auto locked = lock(path);
  if (!locked) return std::unexpected(locked.error());
  auto renamed = rename();
  if (!renamed) return renamed;
  const auto json = SessionEditsCodec::withFileRenamed(read(path).value_or(""), file.filename().string(),
                                                       fs::path(*renamed).filename().string());
  const auto written = json ? writeFileAtomically(path, *json) : Outcome<void>();
  if (!written) log_.error("SessionEditsSidecar: write failed: " + written.error().description);
  return renamed;
}

// What stands there and can't be read in full would be lost.
Outcome<void> SessionEditsSidecar::saveUnlocked(const PersistedSessionEdits& edits,
                                                const fs::path& path) const {
  std::error_code ignored;
  if (fs::is_symlink(fs::symlink_status(path, ignored))) return failure(path, "it is a symbolic link");
  const auto previous = read(path);
  const std::string known = previous.value_or("");
  const bool isKept = previous && (known.empty() || SessionEditsCodec::keepsAll(known));
  if (!isKept && isThere(path)) {
    const auto copy = keepCopy(path);
    if (!copy) return std::unexpected(copy.error());
    log_.info(fmt::format("SessionEditsSidecar: what could not be read was kept as {}", copy->string()));
  }
  const std::string json = SessionEditsCodec::encode(edits, known, [&](const std::string& fileName) {
    return isPlainFileName(fileName) && isThere(path.parent_path() / fileName);
  });
  return writeFileAtomically(path, json);
}

}  // namespace sonmere
