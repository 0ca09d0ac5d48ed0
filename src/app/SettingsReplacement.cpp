#include "app/SettingsReplacement.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "base/DateText.h"

namespace sonmere {

namespace fs = std::filesystem;
using JSON = nlohmann::json;

namespace {

constexpr const char* kBackup = ".backup-";

fs::path pendingFile(const fs::path& path) { return path.string() + ".next"; }

// A name that is taken is counted on.
fs::path freeBackup(const fs::path& path, Date now) {
  const std::string name = path.string() + kBackup + localDateText(now, "%Y%m%d-%H%M%S");
  fs::path free = name;
  std::error_code ignored;
  for (int i = 1; fs::exists(fs::symlink_status(free, ignored)); ++i) free = fmt::format("{}.{:03}", name, i);
  return free;
}

Outcome<std::optional<fs::path>> backUp(const fs::path& path, Date now) {
  const auto text = readWholeFile(path);
  if (!text && text.error().code == ENOENT) return std::nullopt;
  if (!text) return std::unexpected(text.error());
  const fs::path backup = freeBackup(path, now);
  if (const auto written = writeFileAtomically(backup, *text); !written)
    return std::unexpected(written.error());
  const auto all = settingsBackups(path);
  std::error_code ignored;
  for (std::size_t i = 0; i + kMostSettingsBackups < all.size(); ++i) fs::remove(all[i], ignored);
  return backup;
}

// Nothing for a text that no program wrote.
std::optional<SettingsReplacement> replacementIn(const std::string& text) {
  const JSON pending = JSON::parse(text, nullptr, false);
  if (!pending.is_object() || !pending.contains("part") || !pending["part"].is_string()) return std::nullopt;
  const auto part = settingsPartNamed(pending["part"].get<std::string>());
  if (!part) return std::nullopt;
  SettingsReplacement replacement{*part, {}};
  const JSON values = pending.value("values", JSON::object());
  for (const auto& [key, json] : values.items())
    if (auto value = settingsValueFromJSON(json.dump())) replacement.values.emplace(key, std::move(*value));
  return replacement;
}

}  // namespace

std::vector<fs::path> settingsBackups(const fs::path& path) {
  std::vector<fs::path> found;
  std::error_code ignored;
  const std::string start = path.filename().string() + kBackup;
  for (fs::directory_iterator entry(path.parent_path(), ignored), end; entry != end; entry.increment(ignored))
    if (entry->path().filename().string().starts_with(start)) found.push_back(entry->path());
  std::ranges::sort(found);
  return found;
}

Outcome<std::optional<fs::path>> replaceSettings(Log& log, const fs::path& path,
                                                 const SettingsReplacement& replacement, Date now) {
  SettingsFile file(log, path);
  const auto present = file.load();
  if (!present) return std::unexpected(present.error());
  const auto backup = backUp(file.path(), now);
  if (!backup) return backup;
  SettingsFile::Changes changes;
  for (const auto& [key, value] : *present)
    if (isIn(replacement.part, key)) changes.emplace(key, std::nullopt);
  for (const auto& [key, value] : replacement.values) changes.insert_or_assign(key, value);
  if (const auto applied = file.apply(changes); !applied) return std::unexpected(applied.error());
  return backup;
}

Outcome<void> replaceSettingsAtNextStart(const fs::path& path, const SettingsReplacement& replacement) {
  JSON values = JSON::object();
  for (const auto& [key, value] : replacement.values) values[key] = JSON::parse(settingsValueToJSON(value));
  if (auto made = createFolders(path.parent_path()); !made) return made;
  return writeFileAtomically(pendingFile(path),
                             JSON{{"part", name(replacement.part)}, {"values", values}}.dump(2) + "\n");
}

void takeUpReplacement(Log& log, const fs::path& path, Date now) {
  const fs::path pending = pendingFile(path);
  const auto text = readWholeFile(pending);
  if (!text) return;
  std::error_code ignored;
  const auto replacement = replacementIn(*text);
  const auto replaced = replacement ? replaceSettings(log, path, *replacement, now)
                                    : std::unexpected(Error{"Settings", 3, pending.string() + " is damaged"});
  if (!replaced) log.error("The settings could not be replaced. " + replaced.error().description);
  if (replaced || !replacement) fs::remove(pending, ignored);
}

}  // namespace sonmere
