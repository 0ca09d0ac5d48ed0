#include "recording/library/RecordingRename.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <vector>

#include "base/RenameWithoutReplacing.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{kRecordingRenameDomain, 1, std::move(text)});
}

// " — ", a stamp and an extension.
constexpr std::size_t kTailBytes = 5 + 19 + 4;

Outcome<void> checkName(const std::string& name) {
  if (name.find_first_not_of(' ') == std::string::npos) return refuse("the new name is empty");
  if (name == "." || name == "..") return refuse(fmt::format("\"{}\" is no name for a file", name));
  if (name.find('/') != std::string::npos)
    return refuse(fmt::format("\"{}\": a name has no \"/\"; the file stays in its folder", name));
  if (std::ranges::any_of(name, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
    return refuse("the new name has a control character in it");
  return {};
}

struct Rename {
  std::string from, to;
};

// All or none.
Outcome<void> renameAll(const std::vector<Rename>& all) {
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (renameWithoutReplacing(all[i].from, all[i].to)) continue;
    const int error = errno;
    const Rename& failed = all[i];
    while (i-- > 0) renameWithoutReplacing(all[i].to, all[i].from);
    if (error == EEXIST) return refuse(fmt::format("{}: there is such a file already", failed.to));
    return std::unexpected(posixError(error, fmt::format("Rename {} to {}", failed.from, failed.to)));
  }
  return {};
}

// By its name alone a file would become a part of another recording, or another one of this, which has so
// many parts.
Outcome<void> checkStaysWhole(const std::filesystem::path& file, const std::string& name,
                              const std::string& tail, int parts) {
  const auto isThere = [&](const std::string& other) {
    const auto path = file.parent_path() / (other + tail);
    std::error_code ignored;
    return path != file && std::filesystem::is_regular_file(path, ignored);
  };
  const auto part = parseRecordingPart(name);
  const std::string whole = part ? recordingPartName(std::string(part->name), part->part - 1) : "";
  if (part && isThere(whole))
    return refuse(
        fmt::format("\"{}\" would be taken for a part of \"{}\"; choose another name", name, part->name));
  const std::string next = recordingPartName(name, parts + 1);
  if (isThere(next))
    return refuse(fmt::format("\"{}\" would be taken for a part of \"{}\"; choose another name", next, name));
  return {};
}

}  // namespace

Outcome<void> checkRecordingName(const std::string& name) {
  if (auto checked = checkName(name); !checked) return checked;
  if (name.size() + kTailBytes <= NAME_MAX) return {};
  return refuse(fmt::format("the new name is too long by {} bytes", name.size() + kTailBytes - NAME_MAX));
}

Outcome<std::string> renameRecording(const std::string& path, const std::string& newName, bool keepsStamp) {
  if (auto checked = checkName(newName); !checked) return std::unexpected(checked.error());
  const std::filesystem::path old = path;
  const std::string fileName = old.filename().string();
  const auto parts = parseRecordingName(fileName);
  if (!parts) return refuse(fmt::format("{}: its name is not that of a recording", path));
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return std::unexpected(posixError(errno, path));
  if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
    return refuse(fmt::format("{}: not an ordinary file", path));

  const std::string tail =
      keepsStamp ? fileName.substr(parts->name.size()) : std::string(".") + fileExtension(parts->format);
  const std::string name = newName + tail;
  if (name.size() > NAME_MAX)
    return refuse(fmt::format("the new name is too long by {} bytes", name.size() - NAME_MAX));
  if (name == fileName) return path;
  std::vector<Rename> all{{path, (old.parent_path() / name).string()}};
  for (const std::string& part : laterRecordingParts(path)) {
    const std::string partName = recordingPartName(newName, int(all.size()) + 1) + tail;
    if (partName.size() > NAME_MAX)
      return refuse(fmt::format("the new name is too long by {} bytes", partName.size() - NAME_MAX));
    all.push_back({part, (old.parent_path() / partName).string()});
  }
  if (auto checked = checkStaysWhole(old, newName, tail, int(all.size())); !checked)
    return std::unexpected(checked.error());
  if (auto renamed = renameAll(all); !renamed) return std::unexpected(renamed.error());
  return all.front().to;
}

}  // namespace sonmere
