#include "platform/desktop/DriverDropIns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ranges>
#include <utility>

#include "base/AtomicFile.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;
using State = DriverOnDisk::State;

// In the bundle, and below the user's configurations. In this order: what loads another comes behind it, and
// the devices come last.
constexpr std::array<std::pair<const char*, const char*>, 4> kFiles = {
    {{"wireplumber/scripts/sonmere.lua", "wireplumber/scripts/sonmere.lua"},
     {"wireplumber/main.lua.d/60-sonmere.lua", "wireplumber/main.lua.d/60-sonmere.lua"},
     {"wireplumber/wireplumber.conf.d/60-sonmere.conf", "wireplumber/wireplumber.conf.d/60-sonmere.conf"},
     {"pipewire.conf.d/60-sonmere.conf", "pipewire/pipewire.conf.d/60-sonmere.conf"}}};
constexpr const char* kStamp = " Installed by Sonmere ";
constexpr const char* kChecksum = ", checksum ";
// Names that no server reads.
constexpr const char* kNew = ".sonmere-new";
constexpr const char* kOld = ".sonmere-old";

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"Driver", 1, std::move(text)});
}

// FNV-1a.
std::string checksumOf(std::string_view text) {
  std::uint64_t sum = 14695981039346656037u;
  for (const unsigned char byte : text) sum = (sum ^ byte) * 1099511628211u;
  return fmt::format("{:016x}", sum);
}

fs::path with(const fs::path& path, const std::string& suffix) { return path.string() + suffix; }

// A name beside the file that nothing has.
fs::path keptName(const fs::path& path) {
  std::error_code ignored;
  fs::path name = with(path, ".bak");
  for (int i = 2; fs::exists(fs::symlink_status(name, ignored)); ++i)
    name = with(path, fmt::format(".bak{}", i));
  return name;
}

}  // namespace

// Operations on the disk that can be taken back.
class DriverDropIns::Change {
 public:
  explicit Change(const BeforeStep& beforeStep) : beforeStep_(beforeStep) {}
  ~Change() {
    if (!isKept_)
      for (const auto& undo : std::views::reverse(undo_)) undo();
  }

  void keep() { isKept_ = true; }

  Outcome<void> makeFolders(const fs::path& folder) {
    std::error_code error;
    if (folder.empty() || fs::is_directory(folder, error)) return {};
    if (auto parent = makeFolders(folder.parent_path()); !parent) return parent;
    if (auto may = step(folder); !may) return may;
    if (auto made = createFolders(folder); !made) return made;
    undo_.push_back([folder] {
      std::error_code ignored;
      fs::remove(folder, ignored);
    });
    return {};
  }

  Outcome<void> write(const fs::path& path, const std::string& text) {
    if (auto may = step(path); !may) return may;
    undo_.push_back([path] {
      std::error_code ignored;
      fs::remove(path, ignored);
    });
    return writeFileAtomically(path, text, 0644);
  }

  Outcome<void> move(const fs::path& from, const fs::path& to) {
    if (auto may = step(to); !may) return may;
    std::error_code error;
    fs::rename(from, to, error);
    if (error) return std::unexpected(posixError(error.value(), fmt::format("move {}", from.string())));
    undo_.push_back([from, to] {
      std::error_code ignored;
      fs::rename(to, from, ignored);
    });
    return {};
  }

  // Once it is kept: what can't be removed is found by the next change.
  void sweep(const fs::path& path) {
    std::error_code ignored;
    if (step(path)) fs::remove(path, ignored);
  }

 private:
  Outcome<void> step(const fs::path& path) { return beforeStep_ ? beforeStep_(path) : Outcome<void>(); }

  const BeforeStep& beforeStep_;
  std::vector<std::function<void()>> undo_;
  bool isKept_ = false;
};

DriverDropIns::DriverDropIns(Places places, BeforeStep beforeStep)
    : places_(std::move(places)), beforeStep_(std::move(beforeStep)) {}

std::string DriverDropIns::stamped(const File& file) const {
  return file.bundled + file.comment + kStamp + places_.version + kChecksum + checksumOf(file.bundled) + "\n";
}

Outcome<DriverDropIns::File> DriverDropIns::fileAt(const char* inBundle, const char* inConfig) const {
  auto text = readWholeFile(fs::path(places_.bundle) / inBundle);
  if (!text) return refuse("Driver bundle not found in app resources. (" + text.error().description + ")");
  File file;
  file.path = fs::path(places_.config) / inConfig;
  file.bundled = std::move(*text);
  file.comment = file.path.extension() == ".lua" ? "--" : "#";
  return file;
}

// What is no ordinary file is somebody's own arrangement: nothing is written through it, nothing replaced.
Outcome<void> DriverDropIns::inspect(File& file) const {
  std::error_code error;
  const auto kind = fs::symlink_status(file.path, error).type();
  if (kind == fs::file_type::not_found) return {};
  if (kind != fs::file_type::regular)
    return refuse(fmt::format("{} is {}; remove it first, nothing was changed", file.path.string(),
                              kind == fs::file_type::symlink     ? "a symbolic link"
                              : kind == fs::file_type::directory ? "a folder"
                                                                 : "no ordinary file"));
  const auto text = readWholeFile(file.path);
  if (!text) return std::unexpected(text.error());
  const auto at = text->rfind(file.comment + kStamp);
  const auto sum = at == std::string::npos ? at : text->find(kChecksum, at);
  if (sum == std::string::npos) {
    file.state = *text == file.bundled ? FileState::whole : FileState::edited;
    return {};
  }
  const auto versionAt = at + file.comment.size() + std::string_view(kStamp).size();
  file.version = text->substr(versionAt, sum - versionAt);
  const std::string body = text->substr(0, at);
  const bool isUntouched = text->substr(sum) == kChecksum + checksumOf(body) + "\n";
  file.state = !isUntouched ? FileState::edited : body == file.bundled ? FileState::whole : FileState::old;
  return {};
}

Outcome<std::vector<DriverDropIns::File>> DriverDropIns::files() const {
  if (places_.config.empty())
    return refuse("there is no home folder for the driver; set HOME or XDG_CONFIG_HOME");
  std::vector<File> all;
  for (const auto& [inBundle, inConfig] : kFiles) {
    auto file = fileAt(inBundle, inConfig);
    if (!file) return std::unexpected(file.error());
    if (auto seen = inspect(*file); !seen) return std::unexpected(seen.error());
    all.push_back(std::move(*file));
  }
  return all;
}

DriverOnDisk DriverDropIns::look() const {
  DriverOnDisk disk;
  disk.bundledVersion = places_.version;
  disk.place = places_.config;
  const auto all = files();
  if (!all) {
    disk.problem = all.error().description;
    return disk;
  }
  bool isAny = false, isAll = true, isOld = false, isEdited = false;
  for (const File& file : *all) {
    isAny |= file.state != FileState::absent;
    isAll &= file.state != FileState::absent;
    if (!file.version.empty()) disk.installedVersion = file.version;
    isOld |= file.state == FileState::old;
    isEdited |= file.state == FileState::edited;
  }
  disk.state = !isAny     ? State::absent
               : !isAll   ? State::partial
               : isEdited ? State::edited
               : isOld    ? State::old
                          : State::whole;
  return disk;
}

Outcome<DriverChange> DriverDropIns::install() {
  const auto all = files();
  if (!all) return std::unexpected(all.error());
  DriverChange done;
  Change change(beforeStep_);
  std::vector<const File*> wanted;
  for (const File& file : *all)
    if (file.state != FileState::whole) wanted.push_back(&file);
  for (const File* file : wanted) {
    if (auto made = change.makeFolders(file->path.parent_path()); !made) return std::unexpected(made.error());
    if (auto written = change.write(with(file->path, kNew), stamped(*file)); !written)
      return std::unexpected(written.error());
  }
  for (const File* file : wanted) {
    const bool isEdited = file->state == FileState::edited;
    const fs::path aside = isEdited ? keptName(file->path) : with(file->path, kOld);
    if (file->state != FileState::absent)
      if (auto moved = change.move(file->path, aside); !moved) return std::unexpected(moved.error());
    if (auto moved = change.move(with(file->path, kNew), file->path); !moved)
      return std::unexpected(moved.error());
    if (isEdited)
      done.notes.push_back(
          fmt::format("{} was edited; it is kept as {}", file->path.string(), aside.string()));
  }
  change.keep();
  for (const File& file : *all) change.sweep(with(file.path, kOld));
  done.isChanged = !wanted.empty();
  return done;
}

Outcome<DriverChange> DriverDropIns::remove() {
  const auto all = files();
  if (!all) return std::unexpected(all.error());
  DriverChange done;
  Change change(beforeStep_);
  for (const File& file : std::views::reverse(*all)) {
    if (file.state == FileState::absent) continue;
    const bool isEdited = file.state == FileState::edited;
    const fs::path aside = isEdited ? keptName(file.path) : with(file.path, kOld);
    if (auto moved = change.move(file.path, aside); !moved) return std::unexpected(moved.error());
    if (isEdited)
      done.notes.push_back(
          fmt::format("{} was edited; it is kept as {}", file.path.string(), aside.string()));
    done.isChanged = true;
  }
  change.keep();
  for (const File& file : *all) {
    change.sweep(with(file.path, kOld));
    change.sweep(with(file.path, kNew));
  }
  // Folders that hold nothing else were made for it.
  for (const File& file : *all)
    for (fs::path folder = file.path.parent_path(); folder != places_.config; folder = folder.parent_path()) {
      std::error_code error;
      if (fs::is_empty(folder, error) && !error) change.sweep(folder);
    }
  return done;
}

}  // namespace sonmere
