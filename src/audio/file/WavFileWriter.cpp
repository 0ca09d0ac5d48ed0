#include "audio/file/WavFileWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>

#include "audio/file/SampleEncoder.h"
#include "audio/file/WavHeader.h"

namespace sonmere {

namespace {

constexpr const char* kDomain = "AudioFileWriter";
enum Code { kUnsupportedEncoding = 1, kBadSettings, kWrongLayout, kClosed, kNotVerified };

constexpr double kMaxSampleRate = 768000;
constexpr std::uint32_t kMaxChannels = 64;

std::unexpected<Error> failure(Code code, std::string text) {
  return std::unexpected(Error{kDomain, code, std::move(text)});
}

Outcome<void> checkSettings(const std::string& path, const AudioFileSettings& settings) {
  if (settings.encoding != AudioFileSettings::Encoding::linearPCM) {
    return failure(kUnsupportedEncoding,
                   fmt::format("could not create {}: M4A recording is not available in this version; "
                               "choose WAV instead",
                               path));
  }
  if (!(settings.sampleRate >= 1 && settings.sampleRate <= kMaxSampleRate)) {
    return failure(kBadSettings,
                   fmt::format("could not create {}: a sample rate of {} Hz is not between 1 and {}", path,
                               settings.sampleRate, kMaxSampleRate));
  }
  if (settings.channels < 1 || settings.channels > kMaxChannels) {
    return failure(kBadSettings, fmt::format("could not create {}: {} channels are not between 1 and {}",
                                             path, settings.channels, kMaxChannels));
  }
  const int depth = settings.bitDepth;
  if (settings.isFloat ? depth != 32 : depth != 16 && depth != 24 && depth != 32) {
    return failure(kBadSettings, fmt::format("could not create {}: WAV has no {} samples of {} bits", path,
                                             settings.isFloat ? "float" : "integer", depth));
  }
  return {};
}

}  // namespace

Outcome<std::shared_ptr<AudioFileWriter>> createAudioFile(const std::string& path,
                                                          const AudioFileSettings& settings) {
  if (auto checked = checkSettings(path, settings); !checked) return std::unexpected(checked.error());
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.valid()) return std::unexpected(posixError(errno, "could not create " + path));

  // A umask may have taken bits away.
  if (::fchmod(file.get(), 0600) != 0) {
    const Error error = posixError(errno, "could not make private " + path);
    ::unlink(path.c_str());
    return std::unexpected(error);
  }
  auto writer = WavFileWriter::start(std::move(file), path, settings);
  if (!writer) {
    ::unlink(path.c_str());
    return std::unexpected(writer.error());
  }
  return *writer;
}

WavFileWriter::WavFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings)
    : file_(std::move(file)),
      path_(path),
      settings_(settings),
      format_{settings.sampleRate, settings.channels},
      bytesPerFrame_(wavBytesPerFrame(settings)),
      headerBytes_(wavHeader(settings, 0).size()) {}

WavFileWriter::~WavFileWriter() {
  if (file_.valid()) (void)close();
}

Outcome<std::shared_ptr<WavFileWriter>> WavFileWriter::start(FileDescriptor file, const std::string& path,
                                                             const AudioFileSettings& settings) {
  std::shared_ptr<WavFileWriter> writer(new WavFileWriter(std::move(file), path, settings));
  if (auto header = writer->writeHeader(); !header) {
    writer->file_ = FileDescriptor();
    return std::unexpected(header.error());
  }
  return writer;
}

Outcome<void> WavFileWriter::write(const PCMBuffer& buffer) {
  if (auto checked = checkLayout(buffer); !checked) return checked;
  if (buffer.frameLength() == 0) return {};

  encodeSamples(buffer, settings_, encoded_);
  std::size_t written = 0;
  auto result = writeAll(encoded_.data(), encoded_.size(), endOfData(), written);
  frames_ += written / bytesPerFrame_;
  if (!result) {
    // Half a frame goes. If that fails too the header still counts whole frames only.
    if (::ftruncate(file_.get(), off_t(endOfData())) != 0) encoded_.clear();
    (void)writeHeader();
    return result;
  }
  return writeHeader();
}

Outcome<void> WavFileWriter::checkLayout(const PCMBuffer& buffer) const {
  if (!file_.valid()) return failure(kClosed, fmt::format("could not write {}: it is closed", path_));
  if (buffer.format() == format_) return {};
  return failure(kWrongLayout,
                 fmt::format("could not write {}: it has {} channels at {} Hz, the buffer {} at {} Hz", path_,
                             format_.channels, format_.sampleRate, buffer.format().channels,
                             buffer.format().sampleRate));
}

Outcome<void> WavFileWriter::writeHeader() {
  const auto header = wavHeader(settings_, frames_);
  std::size_t written = 0;
  return writeAll(header.data(), header.size(), 0, written);
}

Outcome<void> WavFileWriter::writeAll(const std::uint8_t* bytes, std::size_t count, std::uint64_t offset,
                                      std::size_t& written) {
  written = 0;
  while (written < count) {
    const ssize_t result = ::pwrite(file_.get(), bytes + written, count - written, off_t(offset + written));
    if (result < 0 && errno == EINTR) continue;
    if (result < 0) return std::unexpected(posixError(errno, "could not write " + path_));
    // A device that takes nothing and gives no reason is full.
    if (result == 0) return std::unexpected(posixError(ENOSPC, "could not write " + path_));
    written += std::size_t(result);
  }
  return {};
}

Outcome<void> WavFileWriter::close() {
  if (!file_.valid()) return {};
  auto result = complete();
  if (::close(file_.release()) != 0 && result) {
    return std::unexpected(posixError(errno, "could not close " + path_));
  }
  return result;
}

Outcome<void> WavFileWriter::complete() {
  if (endOfData() % 2 != 0) {
    const std::uint8_t pad = 0;
    std::size_t written = 0;
    if (auto padded = writeAll(&pad, 1, endOfData(), written); !padded) return padded;
  }
  if (auto header = writeHeader(); !header) return header;
  // A file system that allocates late reports a full disk only here.
  if (::fsync(file_.get()) != 0 && errno != EINVAL && errno != ENOTSUP) {
    return std::unexpected(posixError(errno, "could not store " + path_));
  }
  return verify();
}

Outcome<void> WavFileWriter::verify() const {
  struct stat status {};
  if (::fstat(file_.get(), &status) != 0)
    return std::unexpected(posixError(errno, "could not check " + path_));
  const std::uint64_t expected = endOfData() + endOfData() % 2;
  if (std::uint64_t(status.st_size) != expected) {
    return failure(kNotVerified,
                   fmt::format("{} has {} bytes on disk instead of {}", path_, status.st_size, expected));
  }
  const auto header = wavHeader(settings_, frames_);
  std::vector<std::uint8_t> found(header.size());
  const ssize_t count = ::pread(file_.get(), found.data(), found.size(), 0);
  if (count < 0) return std::unexpected(posixError(errno, "could not check " + path_));
  if (std::size_t(count) != found.size() || found != header) {
    return failure(kNotVerified, fmt::format("the header of {} is not on disk as it was written", path_));
  }
  return {};
}

}  // namespace sonmere
