#include "audio/file/WavFileWriter.h"

#include <fmt/format.h>

#include "audio/file/SampleEncoder.h"
#include "audio/file/WavMarks.h"
#include "audio/file/WriterError.h"

namespace sonmere {

WavFileWriter::WavFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings)
    : file_(std::move(file), path),
      settings_(settings),
      format_{settings.sampleRate, settings.channels},
      bytesPerFrame_(wavBytesPerFrame(settings)) {}

WavFileWriter::~WavFileWriter() {
  if (file_.isOpen()) (void)close();
}

Outcome<std::shared_ptr<WavFileWriter>> WavFileWriter::start(FileDescriptor file, const std::string& path,
                                                             const AudioFileSettings& settings) {
  std::shared_ptr<WavFileWriter> writer(new WavFileWriter(std::move(file), path, settings));
  if (auto header = writer->writeHeader(); !header) {
    writer->file_.abandon();
    return std::unexpected(header.error());
  }
  return writer;
}

Outcome<void> WavFileWriter::write(const PCMBuffer& buffer) {
  if (auto checked = checkBuffer(buffer, format_, file_); !checked) return checked;
  if (buffer.frameLength() == 0) return {};

  encodeSamples(buffer, settings_, encoded_);
  std::size_t written = 0;
  auto result = file_.writeAt(encoded_, endOfData(), &written);
  frames_ += written / bytesPerFrame_;
  if (!result) {
    // Half a frame goes. If that fails too the header still counts whole frames only.
    (void)file_.truncate(endOfData());
    (void)writeHeader();
    return result;
  }
  return writeHeader();
}

Outcome<void> WavFileWriter::writeHeader() {
  return file_.writeAt(wavHeader(settings_, frames_, markBytes_), 0);
}

void WavFileWriter::addMark(const AudioFileMark& mark) {
  const std::lock_guard lock(marksMutex_);
  marks_.push_back(mark);
}

Outcome<void> WavFileWriter::writeMarks() {
  const std::lock_guard lock(marksMutex_);
  const auto chunks = wavMarkChunks(marks_, frames_);
  const std::uint64_t at = endOfData() + endOfData() % 2;
  auto written = file_.writeAt(chunks, at);
  if (!written)
    (void)file_.truncate(at);
  else
    markBytes_ = chunks.size();
  return written;
}

Outcome<void> WavFileWriter::close() {
  if (!file_.isOpen()) return {};
  auto result = complete();
  auto closed = file_.close();
  return result ? closed : result;
}

Outcome<void> WavFileWriter::complete() {
  const std::uint8_t pad = 0;
  Outcome<void> completed;
  if (endOfData() % 2 != 0) completed = file_.writeAt({&pad, 1}, endOfData());
  if (completed) completed = writeMarks();
  if (auto header = writeHeader(); completed) completed = header;
  // Where there is no room for more, what is there is stored all the same.
  auto synced = file_.sync();
  if (!completed) return completed;
  return synced ? verify() : synced;
}

Outcome<void> WavFileWriter::verify() const {
  if (auto sized = file_.checkSize(endOfData() + endOfData() % 2 + markBytes_); !sized) return sized;
  const auto header = wavHeader(settings_, frames_, markBytes_);
  const auto found = file_.readAt(header.size(), 0);
  if (!found) return std::unexpected(found.error());
  if (*found == header) return {};
  return writerError(WriterFault::notVerified,
                     fmt::format("the header of {} is not on disk as it was written", path()));
}

}  // namespace sonmere
