#include "recording/library/RecordingRename.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>

#include "base/RenameWithoutReplacing.h"
#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{kRecordingRenameDomain, 1, std::move(text)});
}

Outcome<void> checkName(const std::string& name) {
  if (name.find_first_not_of(' ') == std::string::npos) return refuse("the new name is empty");
  if (name == "." || name == "..") return refuse(fmt::format("\"{}\" is no name for a file", name));
  if (name.find('/') != std::string::npos)
    return refuse(fmt::format("\"{}\": a name has no \"/\"; the file stays in its folder", name));
  if (std::ranges::any_of(name, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
    return refuse("the new name has a control character in it");
  return {};
}

}  // namespace

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
  const std::string target = (old.parent_path() / name).string();
  if (renameWithoutReplacing(path, target)) return target;
  if (errno == EEXIST) return refuse(fmt::format("{}: there is such a file already", target));
  return std::unexpected(posixError(errno, fmt::format("Rename {} to {}", path, name)));
}

}  // namespace sonmere
