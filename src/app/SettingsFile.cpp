#include "app/SettingsFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "base/FileDescriptor.h"

namespace sonmere {

namespace fs = std::filesystem;
using JSON = nlohmann::json;

namespace {

constexpr int kIndent = 2;
constexpr mode_t kPrivate = 0600;
constexpr const char* kNothing = "{}";

// Held while the file is read, changed and replaced; the lock's file stays.
class FileLock {
 public:
  static Outcome<FileLock> take(const fs::path& path) {
    FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivate));
    if (!file.valid()) return std::unexpected(posixError(errno, "Open " + path.string()));
    while (flock(file.get(), LOCK_EX) != 0)
      if (errno != EINTR) return std::unexpected(posixError(errno, "Lock " + path.string()));
    return FileLock(std::move(file));
  }

 private:
  explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}
  FileDescriptor file_;
};

bool isMissing(const Error& error) { return error.code == ENOENT || error.code == ENOTDIR; }

// Why the text is not what a settings file holds; nothing when it is.
std::optional<std::string> damageOf(const std::string& text) {
  if (text.empty()) return "it is empty";
  if (!settingsValueFromJSON(text)) return "it is not JSON";
  if (!JSON::parse(text).is_object()) return "it is not a JSON object";
  return std::nullopt;
}

}  // namespace

SettingsFile::SettingsFile(Log& log, fs::path path) : log_(log), path_(std::move(path)) {
  // The lock and the file itself stand side by side, whichever link led here.
  if (auto target = resolveLinks(path_)) path_ = std::move(*target);
}

fs::path SettingsFile::lockPath() const { return path_.string() + ".lock"; }

Outcome<void> SettingsFile::prepareFolder() {
  return path_.has_parent_path() ? createFolders(path_.parent_path()) : Outcome<void>{};
}

// Moves a damaged file to the first free of "{name}.bad", "{name}.bad.1" and so on.
Outcome<void> SettingsFile::setAside(const std::string& reason) {
  std::string kept = path_.string() + ".bad";
  std::error_code error;
  for (int i = 1; fs::exists(fs::symlink_status(kept, error)); ++i)
    kept = fmt::format("{}.bad.{}", path_.string(), i);
  fs::rename(path_, kept, error);
  if (error)
    return std::unexpected(posixError(
        error.value(),
        fmt::format("The settings file {} is damaged ({}); rename it to {}", path_.string(), reason, kept)));
  log_.warning(
      fmt::format("The settings file {} is damaged ({}). It was kept as {}.", path_.string(), reason, kept));
  return {};
}

// The content of a good file, or of the last good one; "{}" when there never was one. With the lock held.
Outcome<std::string> SettingsFile::readOrSetAside() {
  auto text = readWholeFile(path_);
  if (!text && !isMissing(text.error())) return text;
  if (!text) {
    lastGood_ = kNothing;  // removed by its user: nothing to keep
  } else if (const auto damage = damageOf(*text)) {
    if (const auto moved = setAside(*damage); !moved) return std::unexpected(moved.error());
  } else {
    lastGood_ = std::move(*text);
  }
  return lastGood_;
}

// A good or a missing file needs no lock, for it is only ever replaced as a whole.
Outcome<std::string> SettingsFile::readAtStart() {
  auto text = readWholeFile(path_);
  if (!text) return isMissing(text.error()) ? Outcome<std::string>(kNothing) : text;
  if (!damageOf(*text)) return text;
  const auto lock = FileLock::take(lockPath());
  if (!lock) return std::unexpected(lock.error());
  return readOrSetAside();
}

Outcome<SettingsFile::Values> SettingsFile::load() {
  const fs::path folder = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
  sweepStaleTemporaries(folder, path_.filename().string());
  const auto text = readAtStart();
  if (!text) return std::unexpected(text.error());
  lastGood_ = *text;
  Values values;
  // Key by key: a file with the one key "$data" is an object all the same.
  const JSON object = JSON::parse(*text);
  for (const auto& [key, value] : object.items())
    if (auto parsed = settingsValueFromJSON(value.dump())) values.emplace(key, std::move(*parsed));
  return values;
}

Outcome<void> SettingsFile::apply(const Changes& changes) {
  if (const auto ready = prepareFolder(); !ready) return ready;
  const auto lock = FileLock::take(lockPath());
  if (!lock) return std::unexpected(lock.error());
  const auto text = readOrSetAside();
  if (!text) return std::unexpected(text.error());
  const JSON before = JSON::parse(*text);
  JSON after = before;
  for (const auto& [key, value] : changes) {
    if (value)
      after[key] = JSON::parse(settingsValueToJSON(*value));
    else
      after.erase(key);
  }
  std::error_code ignored;
  if (after == before && fs::exists(path_, ignored)) return {};
  std::string written = after.dump(kIndent, ' ', false, JSON::error_handler_t::replace) + "\n";
  if (const auto result = writeFileAtomically(path_, written, kPrivate); !result) return result;
  lastGood_ = std::move(written);
  return {};
}

}  // namespace sonmere
