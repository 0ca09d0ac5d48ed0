#include "audio/file/WavFileWriter.h"

#include <fmt/format.h>

#include <filesystem>
#include <limits>
#include <utility>

#include "audio/file/SampleEncoder.h"
#include "audio/file/WavMarks.h"
#include "audio/file/WriterError.h"

namespace sonmere {

WavFileWriter::WavFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings)
    : file_(std::move(file), path),
      settings_(settings),
      format_{settings.sampleRate, settings.channels},
      bytesPerFrame_(wavBytesPerFrame(settings)),
      headerBytes_(wavHeaderBytes(settings)) {
  origin_.name = std::filesystem::path(path).stem().string();
}

WavFileWriter::~WavFileWriter() {
  if (file_.isOpen()) (void)close();
}

Outcome<std::shared_ptr<WavFileWriter>> WavFileWriter::start(FileDescriptor file, const std::string& path,
                                                             const AudioFileSettings& settings) {
  std::shared_ptr<WavFileWriter> writer(new WavFileWriter(std::move(file), path, settings));
  if (auto header = writer->file_.writeAt(writer->header(), 0); !header) {
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

std::vector<std::uint8_t> WavFileWriter::header() const {
  return wavHeader(settings_, frames_, markBytes_, origin_);
}

Outcome<void> WavFileWriter::writeHeader() {
  if (!settings_.isBroadcast || takeOrigin()) return file_.writeAt(header(), 0);
  return writeSizes();
}

Outcome<void> WavFileWriter::writeSizes() {
  if (auto front = file_.writeAt(wavHeaderFront(settings_, frames_, markBytes_), 0); !front) return front;
  const auto data = wavDataHeader(settings_, frames_, markBytes_);
  return file_.writeAt(data, headerBytes_ - data.size());
}

bool WavFileWriter::takeOrigin() {
  const std::lock_guard lock(marksMutex_);
  if (!newOrigin_ && !hasNewMarks_) return false;
  if (newOrigin_) origin_.origin = *std::exchange(newOrigin_, std::nullopt);
  hasNewMarks_ = false;
  // Some may stand on frames that come yet. A file that dies keeps the first of those that are too many.
  auto marks = marks_;
  do {
    origin_.marks = wavMarkChunks(marks, std::numeric_limits<std::uint64_t>::max());
    if (!marks.empty()) marks.pop_back();
  } while (origin_.marks.size() > wavMarksRoom(settings_));
  return true;
}

void WavFileWriter::addMark(const AudioFileMark& mark) {
  const std::lock_guard lock(marksMutex_);
  marks_.push_back(mark);
  hasNewMarks_ = true;
}

void WavFileWriter::setOrigin(const AudioFileOrigin& origin) {
  const std::lock_guard lock(marksMutex_);
  newOrigin_ = origin;
}

Outcome<void> WavFileWriter::writeMarks() {
  std::vector<std::uint8_t> chunks;
  {
    const std::lock_guard lock(marksMutex_);
    chunks = wavMarkChunks(marks_, frames_);
    if (newOrigin_) origin_.origin = *std::exchange(newOrigin_, std::nullopt);
  }
  const bool hasRoom = chunks.size() <= wavMarksRoom(settings_);
  origin_.marks = hasRoom ? chunks : std::vector<std::uint8_t>();
  if (hasRoom) return {};
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
  if (auto written = file_.writeAt(header(), 0); completed) completed = written;
  // Where there is no room for more, what is there is stored all the same.
  auto synced = file_.sync();
  if (!completed) return completed;
  return synced ? verify() : synced;
}

Outcome<void> WavFileWriter::verify() const {
  if (auto sized = file_.checkSize(endOfData() + endOfData() % 2 + markBytes_); !sized) return sized;
  const auto expected = header();
  const auto found = file_.readAt(expected.size(), 0);
  if (!found) return std::unexpected(found.error());
  if (*found == expected) return {};
  return writerError(WriterFault::notVerified,
                     fmt::format("the header of {} is not on disk as it was written", path()));
}

}  // namespace sonmere
