#include "platform/desktop/DesktopEntries.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "base/AtomicFile.h"
#include "platform/desktop/DesktopFolders.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;
constexpr std::string_view kSuffix = ".desktop";

// "kde/player.desktop" has the ID "kde-player".
std::string entryID(const fs::path& file, const fs::path& folder) {
  std::string id = file.lexically_relative(folder).string();
  id.resize(id.size() - kSuffix.size());
  std::ranges::replace(id, '/', '-');
  return id;
}

// Exec's program as a file, with all links followed.
std::string resolveProgram(const DesktopEntry& entry) {
  const auto arguments = execArguments(entry);
  if (!arguments) return {};
  const fs::path program = programName("", *arguments).path;
  std::error_code failed;
  if (program.is_absolute()) return fs::canonical(program, failed).string();
  const char* const path = std::getenv("PATH");
  for (const std::string& folder : splitFolders(path ? path : "/usr/local/bin:/usr/bin:/bin")) {
    const fs::path file = fs::path(folder) / program;
    if (!program.empty() && ::access(file.c_str(), X_OK) == 0) return fs::canonical(file, failed).string();
  }
  return {};
}

void readFolder(const fs::path& folder, std::string_view locale, DesktopEntries& entries) {
  constexpr auto kOptions = fs::directory_options::skip_permission_denied;
  std::error_code failed;
  for (fs::recursive_directory_iterator at(folder, kOptions, failed), end; !failed && at != end;
       at.increment(failed)) {
    const fs::path& file = at->path();
    if (!file.native().ends_with(kSuffix)) continue;
    const auto text = readWholeFile(file);
    if (!text) continue;
    auto entry = parseDesktopEntry(*text, entryID(file, folder), locale);
    if (!entry) continue;
    entry->file = file.string();
    entry->program = resolveProgram(*entry);
    entries.add(std::move(*entry));
  }
}

}  // namespace

DesktopEntries DesktopEntries::read() {
  const DesktopFolders folders = DesktopFolders::ofUser();
  std::vector<std::string> dataFolders = {folders.data};
  dataFolders.insert(dataFolders.end(), folders.sharedData.begin(), folders.sharedData.end());
  return read(dataFolders, folders.locale);
}

DesktopEntries DesktopEntries::read(const std::vector<std::string>& dataFolders, std::string_view locale) {
  DesktopEntries entries;
  for (const std::string& folder : dataFolders)
    readFolder(fs::path(folder) / "applications", locale, entries);
  return entries;
}

void DesktopEntries::add(DesktopEntry entry) {
  const auto [at, isNew] = entries_.emplace(entry.id, std::move(entry));
  if (isNew && !at->second.hidden) indexProgram(at->second);
}

void DesktopEntries::indexProgram(const DesktopEntry& entry) {
  const auto arguments = execArguments(entry);
  const ProgramName program = arguments ? programName("", *arguments) : ProgramName{};
  if (program.key.empty() || program.isRunnerAlone) return;
  byName_[program.key].push_back(entry.id);
  byPath_[program.path].push_back(entry.id);
  if (!entry.wmClass.empty() && entry.wmClass != program.key) byName_[entry.wmClass].push_back(entry.id);
  const ProgramName resolved = programName(entry.program, {});
  if (entry.program.empty() || resolved.isRunnerAlone) return;
  if (entry.program != program.path) byPath_[entry.program].push_back(entry.id);
  if (const auto folder = privateFolder(entry.program); !folder.empty())
    byFolder_[std::string(folder)].push_back(entry.id);
}

const DesktopEntry* DesktopEntries::find(std::string_view id) const {
  const auto found = entries_.find(id);
  return found == entries_.end() || found->second.hidden ? nullptr : &found->second;
}

// Web applications, profiles and documents start a program with more arguments than the program itself does.
const DesktopEntry* DesktopEntries::plainest(const IDs& index, std::string_view key) const {
  const auto found = index.find(key);
  if (key.empty() || found == index.end()) return nullptr;
  const auto rank = [this](const std::string& id) {
    const DesktopEntry& entry = entries_.find(id)->second;
    return std::tuple(entry.noDisplay, execArguments(entry)->size(), id.size(), id);
  };
  return find(*std::ranges::min_element(found->second, {}, rank));
}

const DesktopEntry* DesktopEntries::findByProgram(const ProgramName& program) const {
  if (program.isRunnerAlone) return nullptr;
  if (const auto* entry = plainest(byPath_, program.path)) return entry;
  if (const auto* entry = plainest(byFolder_, privateFolder(program.path))) return entry;
  return plainest(byName_, program.key);
}

}  // namespace sonmere
