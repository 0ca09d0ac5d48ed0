#include "recording/RecorderFile.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "dsp/VectorMath.h"
#include "recording/PartsWriter.h"
#include "recording/PrerollWriter.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingFileSettings.h"
#include "recording/RecordingsFolder.h"
#include "recording/SinkError.h"

namespace sonmere {

namespace {

constexpr Duration kFlushTimeout = std::chrono::seconds(15);
constexpr float kSignalThreshold = 0.000001f;

std::int64_t framesIn(double seconds, double sampleRate) { return std::llround(seconds * sampleRate); }

std::int64_t mostFramesOf(const TakeFileOptions& options, double sampleRate) {
  return options.mostSeconds > 0 ? framesIn(options.mostSeconds, sampleRate)
                                 : std::numeric_limits<std::int64_t>::max();
}

}  // namespace

float blockPeak(const PCMBuffer& buffer) {
  if (buffer.frameLength() == 0) return 1.0f;
  float peak = 0;
  for (std::uint32_t c = 0; c < buffer.format().channels; ++c)
    peak = std::max(peak, maxMagnitude(buffer.channel(c), buffer.frameLength()));
  return peak;
}

Outcome<std::shared_ptr<RecorderFile>> RecorderFile::create(const RecordingContext& context,
                                                            const Request& request) {
  auto file = createWriter(context, request);
  if (!file) return std::unexpected(file.error());
  return std::shared_ptr<RecorderFile>(new RecorderFile(context, request, std::move(*file)));
}

Outcome<std::shared_ptr<AudioFileWriter>> RecorderFile::createWriter(const RecordingContext& context,
                                                                     const Request& request) {
  auto settings = recordingFileSettings(request.format, request.sampleRate, request.channels,
                                        request.options.depth.value_or(recordingBitDepth(context.settings)));
  settings.isBroadcast = request.format == RecordingFormat::wav;
  const auto make = [create = context.createFile, request, settings](int part) {
    return create(freeRecordingPath(request.folder, recordingPartName(request.name, part),
                                    request.sessionDate, request.format),
                  settings);
  };
  if (request.options.partSeconds <= 0) return make(1);
  return PartsWriter::create(make, framesIn(request.options.partSeconds, request.sampleRate));
}

RecorderFile::RecorderFile(const RecordingContext& context, const Request& request,
                           std::shared_ptr<AudioFileWriter> file)
    : runtime_(context.runtime),
      log_(context.log),
      health_(context.health),
      request_(request),
      audio_(file->processingFormat()),
      format_(request.format),
      depth_(request.options.depth),
      startedAt_(context.runtime.wallTime()),
      writer_(file),
      sink_(AudioFileSink::create(context, std::move(file), request.writerName,
                                  areDifferentFolders(request.folder, context.folders.defaultRecordings))),
      queue_(runtime_.serialQueue(request.queueLabel)) {
  mostFrames_ = mostFramesOf(request.options, request.sampleRate);
  setCountedBitDepth(recordingBitDepth(context.settings));
  setBegin(startedAt_);
}

Outcome<std::shared_ptr<AudioFileWriter>> RecorderFile::openFile(const RecordingContext& context,
                                                                 const Destination& to) const {
  Request request = request_;
  request.folder = to.folder;
  request.sessionDate = to.sessionDate;
  request.format = formatFor(to);
  request.options = to.options;
  return createWriter(context, request);
}

void RecorderFile::begin(const Destination& to, const std::shared_ptr<AudioFileWriter>& file,
                         std::int64_t first, Date startedAt) {
  format_ = formatFor(to);
  depth_ = to.options.depth;
  startedAt_ = startedAt;
  mostFrames_ = mostFramesOf(to.options, request_.sampleRate);
  framesBefore_ = first;
  bytesBefore_ = std::int64_t(bytesWritten_) - (std::int64_t(framesWritten_) - first) * bytesPerFrame_;
  sink_->setPath(file->path());
  if (const auto memory = std::dynamic_pointer_cast<PrerollWriter>(writer())) memory->begin(file, first);
  setBegin(startedAt);
}

// A single channel knows no other.
RecordingFormat RecorderFile::formatFor(const Destination& to) const {
  return request_.isAlwaysWav ? RecordingFormat::wav : to.format;
}

void RecorderFile::setCountedBitDepth(RecordingBitDepth depth) {
  bytesPerFrame_ = bytesPerFrame(format_, request_.channels, depth_.value_or(depth));
}

void RecorderFile::setBegin(Date date) {
  if (const auto writer = writer_.lock()) writer->setOrigin(audioFileOrigin(date, request_.sampleRate));
}

void RecorderFile::mark(std::int64_t frame, const std::string& text) {
  if (const auto writer = writer_.lock()) writer->addMark({frame, text});
}

bool RecorderFile::write(const PCMBuffer& block) {
  notePeak(block);
  const std::int64_t left = mostFrames_ - framesWritten();
  if (left >= block.frameLength()) return writeWanted(block);
  if (left <= 0) return true;
  PCMBuffer wanted(block.format(), std::uint32_t(left));
  wanted.setFrameLength(std::uint32_t(left));
  for (std::uint32_t c = 0; c < block.format().channels; ++c)
    std::copy_n(block.channel(c), left, wanted.channel(c));
  return writeWanted(wanted);
}

bool RecorderFile::writeWanted(const PCMBuffer& block) {
  if (const auto written = sink_->write(block); !written) {
    report(written.error(), "write failed");
    return false;
  }
  framesWritten_.add(block.frameLength());
  bytesWritten_.add(block.frameLength() * bytesPerFrame_);
  return true;
}

void RecorderFile::notePeak(const PCMBuffer& block) {
  const float peak = blockPeak(block);
  lastPeak_ = peak;
  if (!everHadSignal_ && peak > kSignalThreshold) everHadSignal_ = true;
}

void RecorderFile::report(const Error& error, const std::string& what) const {
  log_.error(request_.writerName + ": " + what + ": " + error.description);
  health_->noteWriterFailure(request_.writerName, place().path, error, framesWritten());
}

void RecorderFile::reportOverfull() const {
  health_->noteWriterFailure(request_.writerName, place().path, SinkError::queueFull(), framesWritten());
}

void RecorderFile::close(const std::shared_ptr<RecorderFile>& file, bool inTime, Task done) {
  auto finished = [file, done = std::move(done)] {
    if (done) done();
  };
  if (file->isDirect()) {
    // A write that hangs holds the close up, but not the stop.
    file->sink_->close(*file->queue_, file->framesWritten(), inTime ? kFlushTimeout : Duration::zero(),
                       std::move(finished));
    return;
  }
  file->queue_->post([file, finished = std::move(finished)] {
    file->runtime_.mainQueue().post([file, finished] { flushAndClose(file, finished); });
  });
}

void RecorderFile::flushAndClose(const std::shared_ptr<RecorderFile>& file, Task done) {
  const Duration limit = file->runtime_.uptime() + kFlushTimeout;
  file->sink_->flushAsync(kFlushTimeout, [file, limit, done = std::move(done)](bool inTime) {
    const Duration left = inTime ? limit - file->runtime_.uptime() : Duration::zero();
    file->sink_->close(*file->queue_, file->framesWritten(), left, done);
  });
}

}  // namespace sonmere
