#include "editor/sidecar/SessionEditsSidecar.h"

#include <fmt/format.h>

#include "base/AtomicFile.h"
#include "editor/sidecar/SessionEditsCodec.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

// Sixteen tracks are some kilobytes.
constexpr std::uintmax_t kLargestFile = 4 << 20;

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

}  // namespace

bool isPlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

std::optional<PersistedSessionEdits> SessionEditsSidecar::load(const fs::path& sessionFolder) const {
  const fs::path path = sessionFolder / kFileName;
  sweepStaleTemporaries(sessionFolder, kFileName);
  if (!isThere(path)) return std::nullopt;
  const auto json = read(path);
  auto edits = json ? SessionEditsCodec::decode(*json) : std::unexpected(json.error());
  if (edits) return std::move(*edits);
  if (edits.error().domain == SessionEditsCodec::kNewerSchemaDomain)
    log_.info(fmt::format("SessionEditsSidecar: ignoring newer schema v{}", edits.error().code));
  else
    log_.info("SessionEditsSidecar: parse failed: " + edits.error().description);
  return std::nullopt;
}

void SessionEditsSidecar::save(const PersistedSessionEdits& edits, const fs::path& sessionFolder) const {
  const fs::path path = sessionFolder / kFileName;
  std::error_code ignored;
  if (fs::is_symlink(fs::symlink_status(path, ignored)))
    return log_.error(
        fmt::format("SessionEditsSidecar: write failed: {}: it is a symbolic link", path.string()));
  const std::string json =
      SessionEditsCodec::encode(edits, read(path).value_or(""), [&](const std::string& fileName) {
        return isPlainFileName(fileName) && isThere(sessionFolder / fileName);
      });
  write(json, path);
}

void SessionEditsSidecar::fileWasRenamed(const std::string& from, const std::string& to,
                                         const fs::path& sessionFolder) const {
  const fs::path path = sessionFolder / kFileName;
  if (const auto json = SessionEditsCodec::withFileRenamed(read(path).value_or(""), from, to))
    write(*json, path);
}

void SessionEditsSidecar::write(const std::string& json, const fs::path& path) const {
  if (const auto written = writeFileAtomically(path, json); !written)
    log_.error("SessionEditsSidecar: write failed: " + written.error().description);
}

}  // namespace sonmere
