#include "recording/RecordingsFolder.h"

#include <fcntl.h>
#include <unistd.h>
#include <climits>

#include <cerrno>
#include <filesystem>
#include <vector>

#include "base/AtomicFile.h"
#include "base/FileDescriptor.h"
#include "base/UUID.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

// A link counts as there wherever it leads: one into a drive that isn't connected is the user's and stays.
bool isThere(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

// The folder and those above it that are not there, innermost first.
std::vector<fs::path> missingFolders(const fs::path& folder) {
  std::vector<fs::path> missing;
  for (fs::path at = folder; at.has_relative_path() && !isThere(at); at = at.parent_path())
    missing.push_back(at);
  return missing;
}

}  // namespace

Outcome<std::string> RecordingsFolder::current() const {
  if (const auto folder = chosen()) {
    if (!createFolders(*folder)) {
      context_.log.warning(
          "Sonmere: chosen recordings folder not available, recording to the default folder");
    } else if (const auto usable = writeTest(*folder); !usable) {
      context_.log.warning("Sonmere: chosen recordings folder failed (" + usable.error().description +
                           "), recording to the default folder");
    } else {
      return *folder;
    }
  }
  return usable(defaultFolder());
}

Outcome<std::string> RecordingsFolder::usable(const std::string& folder) const {
  if (const auto made = makeUsable(folder); !made) return std::unexpected(made.error());
  return folder;
}

std::optional<std::string> RecordingsFolder::chosen() const {
  if (context_.onlyFolder) return std::nullopt;
  auto folder = context_.settings.string(kPathKey);
  return folder && !folder->empty() ? folder : std::nullopt;
}

RecordingsFolderState RecordingsFolder::state(const std::optional<std::string>& chosenFolder) const {
  if (!chosenFolder) return {defaultFolder(), false};
  std::error_code ignored;
  const bool exists = fs::exists(*chosenFolder, ignored);
  const bool isUsable = isFolderUsable(*chosenFolder) && (!exists || writeTest(*chosenFolder));
  return {isUsable ? *chosenFolder : defaultFolder(), !isUsable};
}

Outcome<void> RecordingsFolder::makeUsable(const std::string& folder) const {
  const std::vector<fs::path> missing = missingFolders(folder);
  auto result = createFolders(folder);
  if (result) result = writeTest(folder);
  if (result) return result;
  for (const fs::path& made : missing) ::rmdir(made.c_str());
  return std::unexpected(
      Error{result.error().domain, result.error().code,
            "The recordings folder " + folder + " can't be used: " + result.error().description});
}

Outcome<void> RecordingsFolder::writeTest(const std::string& folder) const {
  const std::string path = folder + "/.sonmere-write-test-" + makeUUID(context_.runtime);
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.valid()) return std::unexpected(posixError(errno, "Create " + path));
  if (::unlink(path.c_str()) != 0) return std::unexpected(posixError(errno, "Remove " + path));
  return {};
}

bool isFolderUsable(const std::string& folder) {
  std::error_code ignored;
  fs::path at = folder;
  while (at.has_relative_path() && !isThere(at)) {
    if (at.filename().native().size() > NAME_MAX) return false;
    at = at.parent_path();
  }
  return fs::is_directory(at, ignored) && ::access(at.c_str(), W_OK) == 0;
}

bool areDifferentFolders(const std::string& a, const std::string& b) {
  const auto resolved = [](const std::string& path) {
    std::error_code code;
    fs::path full = fs::weakly_canonical(path, code);
    if (code) full = fs::path(path).lexically_normal();
    return full.has_filename() ? full : full.parent_path();
  };
  return resolved(a) != resolved(b);
}

}  // namespace sonmere
