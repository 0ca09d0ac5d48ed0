#include "audio/file/AudioFileWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>

#include "audio/file/M4AFileWriter.h"
#include "audio/file/WavFileWriter.h"
#include "audio/file/WriterError.h"

namespace sonmere {

namespace {

constexpr double kMaxSampleRate = 768000;
constexpr std::uint32_t kMaxChannels = 64;

Outcome<void> checkSettings(const std::string& path, const AudioFileSettings& settings) {
  if (!(settings.sampleRate >= 1 && settings.sampleRate <= kMaxSampleRate)) {
    return writerError(WriterFault::badSettings,
                       fmt::format("could not create {}: a sample rate of {} Hz is not between 1 and {}",
                                   path, settings.sampleRate, kMaxSampleRate));
  }
  if (settings.channels < 1 || settings.channels > kMaxChannels) {
    return writerError(WriterFault::badSettings,
                       fmt::format("could not create {}: {} channels are not between 1 and {}", path,
                                   settings.channels, kMaxChannels));
  }
  if (settings.encoding == AudioFileSettings::Encoding::aac) return {};
  const int depth = settings.bitDepth;
  if (settings.isFloat ? depth != 32 : depth != 16 && depth != 24 && depth != 32) {
    return writerError(WriterFault::badSettings,
                       fmt::format("could not create {}: WAV has no {} samples of {} bits", path,
                                   settings.isFloat ? "float" : "integer", depth));
  }
  return {};
}

Outcome<FileDescriptor> createPrivateFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.valid()) return std::unexpected(posixError(errno, "could not create " + path));
  // A umask may have taken bits away.
  if (::fchmod(file.get(), 0600) == 0) return file;
  const Error error = posixError(errno, "could not make private " + path);
  ::unlink(path.c_str());
  return std::unexpected(error);
}

// Hands out the writer, or removes the file that it could not begin.
template <class Writer>
Outcome<std::shared_ptr<AudioFileWriter>> begun(Outcome<std::shared_ptr<Writer>> writer,
                                                const std::string& path) {
  if (writer) return *writer;
  ::unlink(path.c_str());
  return std::unexpected(writer.error());
}

}  // namespace

Outcome<std::shared_ptr<AudioFileWriter>> createAudioFile(const std::string& path,
                                                          const AudioFileSettings& settings) {
  if (auto checked = checkSettings(path, settings); !checked) return std::unexpected(checked.error());
  std::unique_ptr<AACEncoder> encoder;
  if (settings.encoding == AudioFileSettings::Encoding::aac) {
    auto made = makeAACEncoder(settings);
    if (!made) {
      return writerError(
          WriterFault::unsupportedEncoding,
          fmt::format("could not create {}: {}; choose WAV instead", path, made.error().description));
    }
    encoder = std::move(*made);
  }
  auto file = createPrivateFile(path);
  if (!file) return std::unexpected(file.error());
  if (encoder) {
    return begun(M4AFileWriter::start(std::move(*file), path, settings, std::move(encoder)), path);
  }
  return begun(WavFileWriter::start(std::move(*file), path, settings), path);
}

}  // namespace sonmere
