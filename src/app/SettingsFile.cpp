#include "app/SettingsFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <expected>
#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "base/FileLock.h"
#include "base/SettingsLevels.h"

namespace sonmere {

namespace fs = std::filesystem;
using JSON = nlohmann::json;

namespace {

constexpr int kIndent = 2;
constexpr mode_t kPrivate = 0600;
constexpr const char* kNothing = "{}";

// Commands hold the lock for a moment; who holds it longer hangs, and nobody may wait for that.
constexpr Duration kLockWait = std::chrono::seconds(2);
constexpr const char* kUnsaved = ".unsaved.";

bool isMissing(const Error& error) { return error.code == ENOENT || error.code == ENOTDIR; }

// What the text of a settings file holds, but for the values of these keys, which are nested too deeply to be
// read.
struct Content {
  JSON object;
  std::set<std::string> unreadable;
};

// The error says why the text is not that of a settings file. Foreign text of any depth costs no recursion.
std::expected<Content, std::string> parse(const std::string& text) {
  if (text.empty()) return std::unexpected("it is empty");
  Content content;
  std::string key;
  const auto isKept = [&](int depth, JSON::parse_event_t event, JSON& parsed) {
    if (event == JSON::parse_event_t::key && depth == 1) key = parsed.get<std::string>();
    const bool begins =
        event == JSON::parse_event_t::object_start || event == JSON::parse_event_t::array_start;
    if (!begins || depth < kMostSettingsLevels) return true;
    content.unreadable.insert(key);
    return false;
  };
  content.object = JSON::parse(text, isKept, false);
  if (content.object.is_discarded()) return std::unexpected("it is not JSON");
  if (!content.object.is_object()) return std::unexpected("it is not a JSON object");
  for (const std::string& each : content.unreadable) content.object.erase(each);
  return content;
}

std::string toText(const JSON& object) {
  return object.dump(kIndent, ' ', false, JSON::error_handler_t::replace) + "\n";
}

// What a file of changes that were kept for later holds; nothing where it is damaged.
SettingsFile::Changes changesOf(const std::string& text) {
  SettingsFile::Changes changes;
  const JSON kept = JSON::parse(text, nullptr, false);
  if (!kept.is_array()) return changes;
  for (const JSON& change : kept) {
    const auto key = change.is_object() ? change.find("key") : change.end();
    if (key == change.end() || !key->is_string()) continue;
    const auto value = change.find("value");
    auto& to = changes[key->get<std::string>()];
    if (value != change.end()) to = settingsValueFromJSON(value->dump());
  }
  return changes;
}

// The first of "{name}.bad", "{name}.bad.1" and so on that is free.
fs::path freeNameBeside(const fs::path& path) {
  std::string kept = path.string() + ".bad";
  std::error_code ignored;
  for (int i = 1; fs::exists(fs::symlink_status(kept, ignored)); ++i)
    kept = fmt::format("{}.bad.{}", path.string(), i);
  return kept;
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

// Moves a damaged file away.
Outcome<void> SettingsFile::setAside(const std::string& reason) {
  const fs::path kept = freeNameBeside(path_);
  std::error_code error;
  fs::rename(path_, kept, error);
  if (error)
    return std::unexpected(
        posixError(error.value(), fmt::format("The settings file {} is damaged ({}); rename it to {}",
                                              path_.string(), reason, kept.string())));
  log_.warning(fmt::format("The settings file {} is damaged ({}). It was kept as {}.", path_.string(), reason,
                           kept.string()));
  return {};
}

// Goes on without the values that can't be read; the file as it was is kept under another name.
Outcome<void> SettingsFile::dropUnreadable(const std::set<std::string>& keys, const std::string& text) {
  const fs::path kept = freeNameBeside(path_);
  if (auto copied = writeFileAtomically(kept, text, kPrivate); !copied) return copied;
  if (auto written = writeFileAtomically(path_, lastGood_, kPrivate); !written) return written;
  log_.warning(
      fmt::format("The settings file {} is damaged (what stands under \"{}\" is nested too deeply to be "
                  "read). It was kept "
                  "as {}; all other settings apply.",
                  path_.string(), fmt::join(keys, "\", \""), kept.string()));
  return {};
}

// The content of a good file, or of the last good one; "{}" when there never was one. With the lock held.
Outcome<std::string> SettingsFile::readOrSetAside() {
  const auto text = readWholeFile(path_);
  if (!text && !isMissing(text.error())) return text;
  if (!text) {
    lastGood_ = kNothing;  // removed by its user: nothing to keep
    return lastGood_;
  }
  const auto content = parse(*text);
  if (!content) {
    if (const auto moved = setAside(content.error()); !moved) return std::unexpected(moved.error());
    return lastGood_;
  }
  lastGood_ = content->unreadable.empty() ? *text : toText(content->object);
  if (content->unreadable.empty()) return lastGood_;
  if (const auto dropped = dropUnreadable(content->unreadable, *text); !dropped)
    return std::unexpected(dropped.error());
  return lastGood_;
}

// A good or a missing file needs no lock, for it is only ever replaced as a whole.
Outcome<std::string> SettingsFile::readAtStart() {
  auto text = readWholeFile(path_);
  if (!text) return isMissing(text.error()) ? Outcome<std::string>(kNothing) : text;
  if (const auto content = parse(*text); content && content->unreadable.empty()) return text;
  const auto lock = FileLock::take(lockPath(), kLockWait);
  if (!lock) return std::unexpected(lock.error());
  return readOrSetAside();
}

Outcome<SettingsFile::Values> SettingsFile::load() {
  const fs::path folder = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
  sweepStaleTemporaries(folder, path_.filename().string());
  auto text = readAtStart();
  if (!text) return std::unexpected(text.error());
  lastGood_ = *text;
  takeUpUnsaved(folder);
  text = lastGood_;
  Values values;
  // Key by key: a file with the one key "$data" is an object all the same.
  const JSON object = JSON::parse(*text);
  for (const auto& [key, value] : object.items())
    if (auto parsed = settingsValueFromJSON(value.dump())) values.emplace(key, std::move(*parsed));
  return values;
}

Outcome<fs::path> SettingsFile::keepForLater(const Changes& changes) {
  // A key without a value is one to be removed.
  JSON kept = JSON::array();
  for (const auto& [key, value] : changes) {
    JSON change{{"key", key}};
    if (value) change["value"] = JSON::parse(settingsValueToJSON(*value));
    kept.push_back(std::move(change));
  }
  fs::path path = path_.string() + kUnsaved + std::to_string(::getpid());
  if (const auto written = writeFileAtomically(path, toText(kept), kPrivate); !written)
    return std::unexpected(written.error());
  return path;
}

// What programs could not write before they ended. What still can't be stays for the next start.
void SettingsFile::takeUpUnsaved(const fs::path& folder) {
  const std::string start = path_.filename().string() + kUnsaved;
  std::error_code ignored;
  std::vector<fs::path> unsaved;
  for (fs::directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored))
    if (entry->path().filename().string().starts_with(start)) unsaved.push_back(entry->path());
  for (const fs::path& path : unsaved)
    if (const auto text = readWholeFile(path); text && apply(changesOf(*text))) fs::remove(path, ignored);
}

Outcome<void> SettingsFile::apply(const Changes& changes) {
  if (const auto ready = prepareFolder(); !ready) return ready;
  const auto lock = FileLock::take(lockPath(), kLockWait);
  if (!lock) return std::unexpected(lock.error());
  const auto text = readOrSetAside();
  if (!text) return std::unexpected(text.error());
  const JSON before = JSON::parse(*text);
  JSON after = before;
  for (const auto& [key, value] : changes) {
    if (value && levelsOf(*value) > kMostValueLevels)
      log_.error(fmt::format("The setting {} is nested too deeply and was not saved.", key));
    else if (value)
      after[key] = JSON::parse(settingsValueToJSON(*value));
    else
      after.erase(key);
  }
  std::error_code ignored;
  if (after == before && fs::exists(path_, ignored)) return {};
  std::string written = toText(after);
  if (const auto result = writeFileAtomically(path_, written, kPrivate); !result) return result;
  lastGood_ = std::move(written);
  return {};
}

}  // namespace sonmere
