#include "recording/RecordingsFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "base/AtomicFile.h"
#include "base/FileDescriptor.h"
#include "base/UUID.h"

namespace sonmere {

namespace fs = std::filesystem;

Outcome<std::string> RecordingsFolder::current() const {
  const std::string chosen = context_.settings.string(kPathKey).value_or("");
  if (!chosen.empty()) {
    if (!createFolders(chosen)) {
      context_.log.warning(
          "Sonmere: chosen recordings folder not available, recording to the default folder");
    } else if (const auto usable = writeTest(chosen); !usable) {
      context_.log.warning("Sonmere: chosen recordings folder failed (" + usable.error().description +
                           "), recording to the default folder");
    } else {
      return chosen;
    }
  }
  if (const auto made = createFolders(defaultFolder()); !made) return std::unexpected(made.error());
  return defaultFolder();
}

Outcome<void> RecordingsFolder::writeTest(const std::string& folder) const {
  const std::string path = folder + "/.sonmere-write-test-" + makeUUID(context_.runtime);
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.valid()) return std::unexpected(posixError(errno, "Create " + path));
  if (::unlink(path.c_str()) != 0) return std::unexpected(posixError(errno, "Remove " + path));
  return {};
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
