#include "audio/file/AudioFileReader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>

#include "audio/file/FFmpegModule.h"
#include "audio/file/ReaderError.h"
#include "audio/file/SndFileReader.h"
#include "base/FileDescriptor.h"

namespace sonmere {

namespace {

Outcome<FileDescriptor> openForReading(const std::string& path) {
  // Without O_NONBLOCK a named pipe would block here until somebody writes to it.
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.valid() && errno == ENOENT) {
    return std::unexpected(Error{kPOSIXErrorDomain, ENOENT, fmt::format("{}: no such file", path)});
  }
  if (!file.valid()) return std::unexpected(posixError(errno, "could not open " + path));

  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return std::unexpected(posixError(errno, "could not open " + path));
  if (S_ISDIR(status.st_mode)) {
    return std::unexpected(Error{kPOSIXErrorDomain, EISDIR, fmt::format("{}: is a folder", path)});
  }
  if (!S_ISREG(status.st_mode)) {
    return std::unexpected(readerError(ReaderFault::notAFile, fmt::format("{}: not an ordinary file", path)));
  }
  if (status.st_size == 0) {
    return std::unexpected(
        readerError(ReaderFault::noAudio, fmt::format("{}: has no audio, it is empty", path)));
  }
  return file;
}

}  // namespace

Outcome<std::unique_ptr<AudioFileReader>> openAudioFile(const std::string& path) {
  auto file = openForReading(path);
  if (!file) return std::unexpected(file.error());
  auto reader = SndFileReader::open(*file, path);
  if (reader || !isFault(reader.error(), ReaderFault::notDecodable)) return reader;
  return openWithFFmpeg(std::move(*file), path);
}

}  // namespace sonmere
