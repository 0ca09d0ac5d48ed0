#include "recording/library/RecordingTrash.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>

#include "base/AtomicFile.h"
#include "base/DateText.h"
#include "base/FileDescriptor.h"
#include "base/RenameWithoutReplacing.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kHex = "0123456789ABCDEF";

// Bytes that a URL may bear as they are.
bool isPlain(unsigned char c) {
  return std::isalnum(c) || std::string_view("-_.~/!$&'()*+,;=:@").contains(char(c));
}

std::string escaped(const std::string& path) {
  std::string out;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(byte)) {
      out += c;
    } else {
      out += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return out;
}

// Other programs may write small letters. Nothing for what is no digit.
std::optional<unsigned> hexValue(char c) {
  const std::size_t at = kHex.find(c >= 'a' && c <= 'f' ? char(c - 'a' + 'A') : c);
  return at == std::string_view::npos ? std::nullopt : std::optional(unsigned(at));
}

std::string unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool hasRoom = text[i] == '%' && i + 2 < text.size();
    const auto high = hasRoom ? hexValue(text[i + 1]) : std::nullopt;
    const auto low = hasRoom ? hexValue(text[i + 2]) : std::nullopt;
    out += high && low ? char(*high << 4 | *low) : text[i];
    if (high && low) i += 2;
  }
  return out;
}

std::optional<dev_t> deviceOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? std::optional(status.st_dev) : std::nullopt;
}

// Of the nearest folder that is there.
std::optional<dev_t> deviceAround(fs::path path) {
  for (; path.has_relative_path(); path = path.parent_path())
    if (const auto device = deviceOf(path.string())) return device;
  return deviceOf("/");
}

// The highest folder on the same file system.
std::string topOf(fs::path folder) {
  const auto device = deviceOf(folder.string());
  while (folder.has_relative_path() && deviceOf(folder.parent_path().string()) == device)
    folder = folder.parent_path();
  return folder.string();
}

// A folder for all users, which must be one that nobody can put his own in place of.
bool isSharedTrash(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX);
}

std::string sharedTrash(const std::string& top) {
  return fmt::format("{}/.Trash/{}", top == "/" ? "" : top, ::getuid());
}

std::string ownTrash(const std::string& top) {
  return fmt::format("{}/.Trash-{}", top == "/" ? "" : top, ::getuid());
}

// Both are private, and none of it is a link to elsewhere.
Outcome<void> makeTrash(const std::string& trash) {
  for (const std::string& folder : {trash, trash + "/files", trash + "/info"}) {
    if (auto made = createFolders(fs::path(folder).parent_path().string()); !made) return made;
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
      return std::unexpected(posixError(errno, "could not make the trash " + folder));
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != ::getuid())
      return std::unexpected(posixError(ENOTDIR, "can't use the trash " + folder));
  }
  return {};
}

// Claims a name in the trash by its note; empty when another has it.
Outcome<bool> writeNote(const std::string& path, const std::string& text) {
  const FileDescriptor note(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!note.valid() && errno == EEXIST) return false;
  if (!note.valid()) return std::unexpected(posixError(errno, "could not create " + path));
  errno = ENOSPC;  // what a short write without an error means
  if (::write(note.get(), text.data(), text.size()) == ssize_t(text.size())) return true;
  const Error error = posixError(errno, "could not write " + path);
  ::unlink(path.c_str());
  return std::unexpected(error);
}

std::string numbered(const fs::path& name, int number) {
  if (number == 1) return name.string();
  return fmt::format("{} {}{}", name.stem().string(), number, name.extension().string());
}

std::optional<RecordingTrash::Entry> readNote(const fs::path& note, const std::string& top) {
  std::ifstream file(note);
  std::string line;
  RecordingTrash::Entry entry;
  while (std::getline(file, line)) {
    if (line.starts_with("Path=") && entry.origin.empty()) entry.origin = unescaped(line.substr(5));
    if (line.starts_with("DeletionDate=") && entry.deleted.empty()) entry.deleted = line.substr(13);
  }
  if (entry.origin.empty()) return std::nullopt;
  if (!entry.origin.starts_with('/')) entry.origin = (fs::path(top) / entry.origin).string();
  entry.path = (note.parent_path().parent_path() / "files" / note.stem()).string();
  return deviceOf(entry.path) ? std::optional(entry) : std::nullopt;
}

}  // namespace

Outcome<RecordingTrash::Place> RecordingTrash::placeFor(const std::string& path) const {
  const auto device = deviceOf(path);
  if (!device) return std::unexpected(posixError(errno, path));
  const std::string folder = fs::path(path).parent_path().string();
  if (deviceAround(homeTrash_) == device) return Place{homeTrash_, ""};
  const std::string top = topOf(folder);
  if (isSharedTrash(fs::path(sharedTrash(top)).parent_path().string()))
    if (makeTrash(sharedTrash(top))) return Place{sharedTrash(top), top};
  return Place{ownTrash(top), top};
}

Outcome<std::string> RecordingTrash::put(const std::string& path, Date now) const {
  const fs::path file = fs::absolute(path).lexically_normal();
  const auto place = placeFor(file.string());
  if (!place) return std::unexpected(place.error());
  if (auto made = makeTrash(place->trash); !made) return std::unexpected(made.error());
  const std::string origin =
      place->top.empty() ? file.string() : file.lexically_relative(place->top).string();
  const std::string text = fmt::format("[Trash Info]\nPath={}\nDeletionDate={}\n", escaped(origin),
                                       localDateText(now, "%Y-%m-%dT%H:%M:%S"));
  for (int number = 1;; ++number) {
    const std::string name = numbered(file.filename(), number);
    const std::string note = place->trash + "/info/" + name + ".trashinfo";
    const auto claimed = writeNote(note, text);
    if (!claimed) return std::unexpected(claimed.error());
    if (!*claimed) continue;
    const std::string target = place->trash + "/files/" + name;
    if (renameWithoutReplacing(file.string(), target)) return target;
    const int error = errno;
    ::unlink(note.c_str());
    if (error != EEXIST)
      return std::unexpected(posixError(error, "could not move " + path + " to the trash"));
  }
}

std::vector<RecordingTrash::Place> RecordingTrash::placesFor(const std::string& folder) const {
  const std::string top = topOf(folder);
  return {{homeTrash_, ""}, {sharedTrash(top), top}, {ownTrash(top), top}};
}

std::vector<RecordingTrash::Entry> RecordingTrash::entriesOf(const std::string& folder) const {
  const fs::path wanted = fs::absolute(folder).lexically_normal() / "";
  std::vector<Entry> entries;
  for (const Place& place : placesFor(wanted.parent_path().string())) {
    std::error_code ignored;
    for (fs::directory_iterator note(place.trash + "/info", ignored), end; note != end;
         note.increment(ignored)) {
      if (note->path().extension() != ".trashinfo") continue;
      const auto entry = readNote(note->path(), place.top);
      if (entry && fs::path(entry->origin).parent_path() == wanted.parent_path()) entries.push_back(*entry);
    }
  }
  std::ranges::sort(entries, [](const Entry& a, const Entry& b) {
    return std::pair(b.deleted, a.origin) < std::pair(a.deleted, b.origin);
  });
  return entries;
}

Outcome<void> RecordingTrash::restore(const Entry& entry) const {
  if (auto made = createFolders(fs::path(entry.origin).parent_path().string()); !made) return made;
  if (!renameWithoutReplacing(entry.path, entry.origin))
    return std::unexpected(posixError(errno, "could not restore " + entry.origin));
  const fs::path file = entry.path;
  ::unlink((file.parent_path().parent_path() / "info" / (file.filename().string() + ".trashinfo")).c_str());
  return {};
}

}  // namespace sonmere
