#include "recording/AudioFileSink.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "recording/SinkError.h"

namespace sonmere {

namespace {

// How often a wait looks again at the deadline, which a quit may set meanwhile.
constexpr Duration kDeadlineCheck = fromMilliseconds(100);

// Null when there is no memory.
std::unique_ptr<PCMBuffer> copyOf(const PCMBuffer& buffer) {
  try {
    auto copy = std::make_unique<PCMBuffer>(buffer.format(), buffer.frameLength());
    copy->setFrameLength(buffer.frameLength());
    for (std::uint32_t c = 0; c < buffer.format().channels; ++c)
      std::memcpy(copy->channel(c), buffer.channel(c), buffer.frameLength() * sizeof(float));
    return copy;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

// One bounded wait; main thread only.
struct AudioFileSink::Wait {
  Duration start;
  Duration timeout;
  std::function<void(bool)> done;

  void finish(bool inTime) {
    if (const auto call = std::exchange(done, nullptr)) call(inTime);
  }
};

std::shared_ptr<AudioFileSink> AudioFileSink::create(const RecordingContext& context,
                                                     std::shared_ptr<AudioFileWriter> file,
                                                     std::string writerName, bool isQueued) {
  return std::shared_ptr<AudioFileSink>(
      new AudioFileSink(context, std::move(file), std::move(writerName), isQueued));
}

AudioFileSink::AudioFileSink(const RecordingContext& context, std::shared_ptr<AudioFileWriter> file,
                             std::string writerName, bool isQueued)
    : runtime_(context.runtime),
      log_(context.log),
      health_(context.health),
      flushDeadline_(context.flushDeadline),
      file_(std::move(file)),
      writerName_(std::move(writerName)),
      isQueued_(isQueued),
      maxPendingFrames_(
          std::int64_t(std::max(file_->processingFormat().sampleRate, 1.0) * double(kMaxPendingSeconds))),
      worker_(isQueued ? runtime_.serialQueue(kQueueLabel) : nullptr),
      place_{FilePlace::Kind::there, file_->path()} {}

std::int64_t AudioFileSink::pendingFrames() const {
  const std::lock_guard lock(mutex_);
  return pendingFrames_;
}

Outcome<void> AudioFileSink::write(const PCMBuffer& buffer) {
  if (!isQueued_) return writeDirectly(buffer);
  if (buffer.frameLength() == 0) return {};
  auto copy = copyOf(buffer);
  return copy ? enqueue(std::move(copy)) : Outcome<void>();
}

Outcome<void> AudioFileSink::writeDirectly(const PCMBuffer& buffer) {
  const auto written = file_->write(buffer);
  if (!written) {
    const std::lock_guard lock(mutex_);
    failure_ = written.error();
  }
  return written;
}

Outcome<void> AudioFileSink::enqueue(std::unique_ptr<PCMBuffer> copy) {
  const std::int64_t frames = copy->frameLength();
  {
    const std::lock_guard lock(mutex_);
    if (failure_) return std::unexpected(*failure_);
    if (pendingFrames_ + frames > maxPendingFrames_) return std::unexpected(SinkError::queueFull());
    pending_.push_back(std::move(copy));
    pendingFrames_ += frames;
    if (std::exchange(drainScheduled_, true)) return {};
  }
  worker_->post([self = shared_from_this()] { self->drain(); });
  return {};
}

std::unique_ptr<PCMBuffer> AudioFileSink::takeFirst() {
  const std::lock_guard lock(mutex_);
  if (pending_.empty()) {
    drainScheduled_ = false;
    return nullptr;
  }
  auto first = std::move(pending_.front());
  pending_.pop_front();
  pendingFrames_ -= first->frameLength();
  return first;
}

void AudioFileSink::drain() {
  while (const auto buffer = takeFirst()) {
    if (const auto written = file_->write(*buffer); !written) return fail(written.error());
    writtenFrames_ += buffer->frameLength();
  }
}

void AudioFileSink::fail(const Error& error) {
  log_.error(fmt::format("AudioFileSink({}): write failed: {}", writerName_, error.description));
  health_->noteWriterFailure(writerName_, file_->path(), error, writtenFrames_);
  std::deque<std::unique_ptr<PCMBuffer>> abandoned;
  const std::lock_guard lock(mutex_);
  failure_ = error;
  abandoned.swap(pending_);
  pendingFrames_ = 0;
  drainScheduled_ = false;
}

void AudioFileSink::flush(Duration timeout) {
  if (!isQueued_) return;
  const auto signal = std::make_shared<std::atomic<bool>>(false);
  worker_->post([signal] { *signal = true; });
  const Duration start = runtime_.uptime();
  const auto isOver = [&] {
    return signal->load() || runtime_.uptime() >= flushDeadline_->limit(start, timeout);
  };
  runtime_.waitUntil(isOver, flushDeadline_->limit(start, timeout) - start);
  if (!*signal) logFlushTimeout();
}

void AudioFileSink::flushAsync(Duration timeout, std::function<void(bool)> done) {
  if (!isQueued_) return done(true);
  runBounded(*worker_, nullptr, timeout, [self = shared_from_this(), done = std::move(done)](bool inTime) {
    if (!inTime) self->logFlushTimeout();
    done(inTime);
  });
}

void AudioFileSink::logFlushTimeout() {
  log_.error(
      fmt::format("AudioFileSink({}): flush timed out, the drive is not responding; writing continues in the "
                  "background",
                  writerName_));
}

void AudioFileSink::close(Queue& writerQueue, std::int64_t atFrame, Duration timeout, Task done) {
  runBounded(
      isQueued_ ? *worker_ : writerQueue, [self = shared_from_this(), atFrame] { self->closeFile(atFrame); },
      timeout, [done = std::move(done)](bool) { done(); });
}

void AudioFileSink::checkPlace(Queue& writerQueue) {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(isLookingAtPlace_, true)) return;
  }
  (isQueued_ ? *worker_ : writerQueue).post([self = shared_from_this()] { self->lookAtPlace(); });
}

// A file that is gone stays gone, whatever comes to bear its number.
void AudioFileSink::lookAtPlace() {
  FilePlace found = file_->place();
  FileSpace space = file_->space();
  const std::lock_guard lock(mutex_);
  isLookingAtPlace_ = false;
  if (!isClosed_) space_ = std::move(space);
  if (!isClosed_ && place_.kind != FilePlace::Kind::gone) place_ = std::move(found);
}

FilePlace AudioFileSink::place() const {
  const std::lock_guard lock(mutex_);
  return place_;
}

void AudioFileSink::setPath(std::string path) {
  const std::lock_guard lock(mutex_);
  place_ = {FilePlace::Kind::there, std::move(path)};
}

FileSpace AudioFileSink::space() const {
  const std::lock_guard lock(mutex_);
  return space_;
}

void AudioFileSink::closeFile(std::int64_t atFrame) {
  lookAtPlace();
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
  }
  const auto closed = file_->close();
  if (closed) return;
  log_.error(fmt::format("AudioFileSink({}): close failed: {}", writerName_, closed.error().description));
  {
    const std::lock_guard lock(mutex_);
    if (failure_) return;  // told already
  }
  health_->noteWriterFailure(writerName_, file_->path(), closed.error(),
                             isQueued_ ? writtenFrames_ : atFrame);
}

void AudioFileSink::runBounded(Queue& queue, Task job, Duration timeout, std::function<void(bool)> done) {
  const auto wait = std::make_shared<Wait>(runtime_.uptime(), timeout, std::move(done));
  queue.post([self = shared_from_this(), job = std::move(job), wait] {
    if (job) job();
    self->runtime_.mainQueue().post([wait] { wait->finish(true); });
  });
  watchLimit(wait);
}

void AudioFileSink::watchLimit(std::shared_ptr<Wait> wait) {
  if (!wait->done) return;
  const Duration left = flushDeadline_->limit(wait->start, wait->timeout) - runtime_.uptime();
  if (left <= Duration::zero()) return wait->finish(false);
  runtime_.mainQueue().postAfter(std::min(left, kDeadlineCheck),
                                 [self = shared_from_this(), wait] { self->watchLimit(wait); });
}

}  // namespace sonmere
