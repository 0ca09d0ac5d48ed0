#include "cli/StandardInput.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "cli/ArgumentText.h"

namespace sonmere {

namespace {

constexpr std::size_t kBlockBytes = 1 << 20;
constexpr int kLookMilliseconds = 100;

// Room for what may be hours of audio, which a memory file system hardly has.
std::string folderForLargeFiles() {
  const char* chosen = std::getenv("TMPDIR");
  return chosen && *chosen ? chosen : "/var/tmp";
}

Outcome<FileDescriptor> makeUnnamedFile() {
  const std::string folder = folderForLargeFiles();
  FileDescriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (file.valid()) return file;
  // Not every file system has files without a name.
  std::string name = folder + "/sonmere-XXXXXX";
  file = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
  if (!file.valid()) return std::unexpected(posixError(errno, "could not keep standard input in " + folder));
  ::unlink(name.c_str());
  return file;
}

Outcome<void> writeAll(int file, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(file, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0)
      return std::unexpected(posixError(written < 0 ? errno : ENOSPC,
                                        "could not keep standard input in " + folderForLargeFiles()));
    bytes += written;
    count -= std::size_t(written);
  }
  return {};
}

Outcome<void> copyInput(int file, const std::function<bool()>& isCancelled) {
  std::vector<char> block(kBlockBytes);
  while (!isCancelled()) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, kLookMilliseconds) == 0) continue;
    const ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count < 0) return std::unexpected(posixError(errno, "could not read standard input"));
    if (count == 0) return {};
    if (auto written = writeAll(file, block.data(), std::size_t(count)); !written) return written;
  }
  return std::unexpected(Error{"StandardInput", 1, "reading standard input was cancelled"});
}

// From its beginning: a shell may have read some of it for another program.
bool isWholeFile(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
         ::lseek(descriptor, 0, SEEK_CUR) == 0;
}

}  // namespace

StandardInput::StandardInput(FileDescriptor kept)
    : kept_(std::move(kept)),
      path_(fmt::format("/proc/self/fd/{}", kept_.valid() ? kept_.get() : STDIN_FILENO)) {}

Outcome<StandardInput> StandardInput::read(const std::function<bool()>& isCancelled) {
  if (isWholeFile(STDIN_FILENO)) return StandardInput(FileDescriptor());
  if (::isatty(STDIN_FILENO)) return badArgument("-: standard input is a terminal; name a file");
  auto file = makeUnnamedFile();
  if (!file) return std::unexpected(file.error());
  if (auto copied = copyInput(file->get(), isCancelled); !copied) return std::unexpected(copied.error());
  return StandardInput(std::move(*file));
}

}  // namespace sonmere
