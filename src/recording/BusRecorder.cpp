#include "recording/BusRecorder.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "dsp/VectorMath.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingFileSettings.h"
#include "recording/RecordingsFolder.h"
#include "recording/SinkError.h"

namespace sonmere {

namespace {

constexpr Duration kDrainInterval = fromMilliseconds(10);
constexpr Duration kReliefInterval = fromMilliseconds(50);
constexpr Duration kStopPoll = fromMilliseconds(50);
constexpr Duration kStopTimeout = std::chrono::seconds(5);
constexpr Duration kFlushTimeout = std::chrono::seconds(15);
constexpr std::uint32_t kScratchFrames = 4096;
constexpr float kSignalThreshold = 0.000001f;

}  // namespace

float blockPeak(const PCMBuffer& buffer) {
  if (buffer.frameLength() == 0) return 1.0f;
  float peak = 0;
  for (std::uint32_t c = 0; c < buffer.format().channels; ++c)
    peak = std::max(peak, maxMagnitude(buffer.channel(c), buffer.frameLength()));
  return peak;
}

Outcome<std::shared_ptr<BusRecorder>> BusRecorder::create(const RecordingContext& context,
                                                          const Request& request) {
  const std::string path =
      freeRecordingPath(request.folder, request.name, request.sessionDate, request.format);
  const auto settings =
      stereoFileSettings(request.format, request.sampleRate, recordingBitDepth(context.settings));
  const auto file = context.createFile(path, settings);
  if (!file) return std::unexpected(file.error());
  const std::shared_ptr<BusRecorder> recorder(new BusRecorder(context, request, path, *file));
  recorder->startDrain();
  return recorder;
}

BusRecorder::BusRecorder(const RecordingContext& context, const Request& request, std::string outputPath,
                         std::shared_ptr<AudioFileWriter> file)
    : runtime_(context.runtime),
      log_(context.log),
      health_(context.health),
      request_(request),
      outputPath_(std::move(outputPath)),
      startedAt_(context.runtime.wallTime()),
      fileFormat_(file->processingFormat()),
      sink_(AudioFileSink::create(context, std::move(file), kWriterName,
                                  areDifferentFolders(request.folder, context.folders.defaultRecordings))),
      backlog_(ring_, request.sampleRate),
      queue_(runtime_.serialQueue(kQueueLabel)) {
  setCountedBitDepth(recordingBitDepth(context.settings));
}

BusRecorder::~BusRecorder() {
  drainTask_.cancel();
  reliefTask_.cancel();
}

void BusRecorder::setCountedBitDepth(RecordingBitDepth depth) {
  bytesPerFrame_ = sonmere::bytesPerFrame(request_.format, depth);
}

void BusRecorder::startDrain() {
  // Weak: a recorder that is let go of without a stop ends its drain.
  drainTask_ = queue_->repeat(kDrainInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->drain();
  });
  // A queued sink takes what it is given at once.
  if (sink_->isQueued()) return;
  reliefQueue_ = runtime_.serialQueue(kReliefQueueLabel);
  reliefTask_ = reliefQueue_->repeat(kReliefInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->relieve();
  });
}

// The drive keeps the drain waiting.
void BusRecorder::relieve() {
  if (drainEnded_ || backlog_.relieve() || std::exchange(wasOverfull_, true)) return;
  health_->noteWriterFailure(kWriterName, outputPath_, SinkError::queueFull(), framesWritten_);
}

void BusRecorder::drain() {
  if (drainEnded_) return;
  if (!scratch_ && !makeScratch()) {
    drainEnded_ = true;
    return;
  }
  for (;;) {
    // Before the look at the ring: what was written before the stop was asked for is then seen.
    const bool stopRequested = stopRequested_;
    if (backlog_.take(*scratch_) == 0) {
      if (stopRequested) drainEnded_ = true;
      return;
    }
    if (!writeBlock()) {
      drainEnded_ = true;
      return;
    }
  }
}

bool BusRecorder::makeScratch() {
  try {
    scratch_.emplace(fileFormat_, kScratchFrames);
    return true;
  } catch (const std::bad_alloc&) {
    log_.error("BusRecorder: failed to allocate scratch PCM buffer");
    return false;
  }
}

bool BusRecorder::writeBlock() {
  notePeak();
  if (const auto written = sink_->write(*scratch_); !written) {
    log_.error("BusRecorder: write failed: " + written.error().description);
    health_->noteWriterFailure(kWriterName, outputPath_, written.error(), framesWritten_);
    return false;
  }
  framesWritten_.add(scratch_->frameLength());
  bytesWritten_.add(scratch_->frameLength() * bytesPerFrame_);
  return true;
}

void BusRecorder::notePeak() {
  const float peak = blockPeak(*scratch_);
  lastPeak_ = peak;
  if (!everHadSignal_ && peak > kSignalThreshold) everHadSignal_ = true;
}

void BusRecorder::stop(Task done) {
  // A render block that began with the ring may still write into it: the drain goes on for one poll, even
  // when the ring is empty now.
  const Duration deadline = runtime_.uptime() + kStopTimeout;
  if (drainEnded_) return pollStop(deadline, std::move(done));
  runtime_.mainQueue().postAfter(kStopPoll, [self = shared_from_this(), deadline, done = std::move(done)] {
    self->stopRequested_ = true;
    self->pollStop(deadline, done);
  });
}

void BusRecorder::pollStop(Duration deadline, Task done) {
  const bool isDrained = drainEnded_ || backlog_.waitingFrames() == 0;
  const bool inTime = runtime_.uptime() < deadline;
  if (isDrained || !inTime) return endDrain(isDrained, std::move(done));
  runtime_.mainQueue().postAfter(kStopPoll, [self = shared_from_this(), deadline, done = std::move(done)] {
    self->pollStop(deadline, done);
  });
}

void BusRecorder::endDrain(bool inTime, Task done) {
  drainTask_.cancel();
  reliefTask_.cancel();
  logLosses(inTime);
  // The queue is serial: this ends what a drain that waits for the drive has begun.
  queue_->post([self = shared_from_this()] { self->drain(); });
  auto finished = [self = shared_from_this(), done = std::move(done)] {
    if (done) done();
  };
  if (!sink_->isQueued()) {
    // A write that hangs holds the close up, but not the stop.
    sink_->close(*queue_, framesWritten_, inTime ? kFlushTimeout : Duration::zero(), std::move(finished));
    return;
  }
  queue_->post([self = shared_from_this(), finished = std::move(finished)] {
    self->runtime_.mainQueue().post([self, finished] { self->flushAndClose(finished); });
  });
}

void BusRecorder::flushAndClose(Task done) {
  const Duration limit = runtime_.uptime() + kFlushTimeout;
  sink_->flushAsync(kFlushTimeout, [self = shared_from_this(), limit, done = std::move(done)](bool inTime) {
    const Duration left = inTime ? limit - self->runtime_.uptime() : Duration::zero();
    self->sink_->close(*self->queue_, self->framesWritten_, left, done);
  });
}

void BusRecorder::logLosses(bool inTime) {
  if (const std::int64_t lost = backlog_.overwrittenFrames(); lost > 0)
    log_.error(fmt::format("BusRecorder: {} frames were overwritten before they reached the file", lost));
  if (const std::int64_t missed = backlog_.missedFrames(); missed > 0)
    log_.warning(fmt::format("BusRecorder: the audio server left out cycles with {} frames", missed));
  if (!inTime)
    log_.error(
        fmt::format("BusRecorder: stopped with {} frames that did not reach the file in time; writing "
                    "continues in the background",
                    backlog_.waitingFrames()));
}

}  // namespace sonmere
