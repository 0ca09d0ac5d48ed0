#include "recording/RecorderFile.h"

#include <algorithm>

#include "dsp/VectorMath.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingFileSettings.h"
#include "recording/RecordingsFolder.h"
#include "recording/SinkError.h"

namespace sonmere {

namespace {

constexpr Duration kFlushTimeout = std::chrono::seconds(15);
constexpr float kSignalThreshold = 0.000001f;

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
  std::string path = freeRecordingPath(request.folder, request.name, request.sessionDate, request.format);
  const auto settings = recordingFileSettings(request.format, request.sampleRate, request.channels,
                                              recordingBitDepth(context.settings));
  auto file = context.createFile(path, settings);
  if (!file) return std::unexpected(file.error());
  return std::shared_ptr<RecorderFile>(new RecorderFile(context, request, std::move(path), std::move(*file)));
}

RecorderFile::RecorderFile(const RecordingContext& context, const Request& request, std::string path,
                           std::shared_ptr<AudioFileWriter> file)
    : runtime_(context.runtime),
      log_(context.log),
      health_(context.health),
      request_(request),
      path_(std::move(path)),
      startedAt_(context.runtime.wallTime()),
      audio_(file->processingFormat()),
      writer_(file),
      sink_(AudioFileSink::create(context, std::move(file), request.writerName,
                                  areDifferentFolders(request.folder, context.folders.defaultRecordings))),
      queue_(runtime_.serialQueue(request.queueLabel)) {
  setCountedBitDepth(recordingBitDepth(context.settings));
}

void RecorderFile::setCountedBitDepth(RecordingBitDepth depth) {
  bytesPerFrame_ = bytesPerFrame(request_.format, request_.channels, depth);
}

void RecorderFile::mark(std::int64_t frame, const std::string& text) {
  if (const auto writer = writer_.lock()) writer->addMark({frame, text});
}

bool RecorderFile::write(const PCMBuffer& block) {
  notePeak(block);
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
  health_->noteWriterFailure(request_.writerName, path_, error, framesWritten_);
}

void RecorderFile::reportOverfull() const {
  health_->noteWriterFailure(request_.writerName, path_, SinkError::queueFull(), framesWritten_);
}

void RecorderFile::close(const std::shared_ptr<RecorderFile>& file, bool inTime, Task done) {
  auto finished = [file, done = std::move(done)] {
    if (done) done();
  };
  if (file->isDirect()) {
    // A write that hangs holds the close up, but not the stop.
    file->sink_->close(*file->queue_, file->framesWritten_, inTime ? kFlushTimeout : Duration::zero(),
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
    file->sink_->close(*file->queue_, file->framesWritten_, left, done);
  });
}

}  // namespace sonmere
