#include "recording/RingDrain.h"

#include <fmt/format.h>

#include <new>
#include <utility>

namespace sonmere {

namespace {

constexpr Duration kDrainInterval = fromMilliseconds(10);
constexpr Duration kReliefInterval = fromMilliseconds(50);
constexpr Duration kStopPoll = fromMilliseconds(50);
constexpr Duration kStopTimeout = std::chrono::seconds(5);
constexpr std::uint32_t kScratchFrames = 4096;

}  // namespace

std::shared_ptr<RingDrain> RingDrain::start(const RecordingContext& context,
                                            std::shared_ptr<RecorderFile> file,
                                            std::shared_ptr<RecorderRing> ring,
                                            const std::string& reliefQueueLabel) {
  std::shared_ptr<RingDrain> drain(new RingDrain(context, std::move(file), ring));
  drain->begin(reliefQueueLabel);
  return drain;
}

RingDrain::RingDrain(const RecordingContext& context, std::shared_ptr<RecorderFile> file,
                     const std::shared_ptr<RecorderRing>& ring)
    : runtime_(context.runtime),
      log_(context.log),
      file_(std::move(file)),
      backlog_(ring, file_->sampleRate()),
      writer_(context.log, file_),
      rate_(file_->sampleRate()) {}

RingDrain::~RingDrain() {
  drainTask_.cancel();
  reliefTask_.cancel();
}

void RingDrain::begin(const std::string& reliefQueueLabel) {
  drainTask_ = file_->queue().repeat(kDrainInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->drain();
  });
  // A queued sink takes what it is given at once.
  if (!file_->isDirect()) return;
  reliefQueue_ = runtime_.serialQueue(reliefQueueLabel);
  reliefTask_ = reliefQueue_->repeat(kReliefInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->relieve();
  });
}

// The drive keeps the drain waiting.
void RingDrain::relieve() {
  if (drainEnded_ || backlog_.relieve() || std::exchange(wasOverfull_, true)) return;
  file_->reportOverfull();
}

void RingDrain::drain() {
  if (drainEnded_) return;
  if (!scratch_ && !makeScratch()) {
    drainEnded_ = true;
    return;
  }
  for (;;) {
    // Before the look at the ring: what was written before the stop was asked for is then seen.
    const bool stopRequested = stopRequested_;
    if (const auto rate = backlog_.takeRateChange()) {
      rate_ = *rate;
      continue;
    }
    if (backlog_.take(*scratch_) == 0) {
      if (stopRequested) drainEnded_ = true;
      return;
    }
    if (!writer_.write(*scratch_, rate_)) {
      hasFailed_ = true;
      drainEnded_ = true;
      return;
    }
  }
}

void RingDrain::drainLast() {
  drain();
  if (!hasFailed_) writer_.flush();
}

bool RingDrain::makeScratch() {
  try {
    scratch_.emplace(file_->audio(), kScratchFrames);
    return true;
  } catch (const std::bad_alloc&) {
    log_.error(file_->writerName() + ": failed to allocate scratch PCM buffer");
    return false;
  }
}

void RingDrain::stop(Task done) {
  // A render block that began with the ring may still write into it: the drain goes on for one poll, even
  // when the ring is empty now.
  const Duration deadline = runtime_.uptime() + kStopTimeout;
  if (drainEnded_) return pollStop(deadline, std::move(done));
  runtime_.mainQueue().postAfter(kStopPoll, [self = shared_from_this(), deadline, done = std::move(done)] {
    self->stopRequested_ = true;
    self->pollStop(deadline, done);
  });
}

void RingDrain::pollStop(Duration deadline, Task done) {
  const bool isDrained = drainEnded_ || backlog_.waitingFrames() == 0;
  const bool inTime = runtime_.uptime() < deadline;
  if (isDrained || !inTime) return end(isDrained, std::move(done));
  runtime_.mainQueue().postAfter(kStopPoll, [self = shared_from_this(), deadline, done = std::move(done)] {
    self->pollStop(deadline, done);
  });
}

void RingDrain::end(bool inTime, Task done) {
  drainTask_.cancel();
  reliefTask_.cancel();
  logLosses(inTime);
  // The queue is serial: this ends what a drain that waits for the drive has begun.
  file_->queue().post([self = shared_from_this()] { self->drainLast(); });
  RecorderFile::close(file_, inTime, [self = shared_from_this(), done = std::move(done)] {
    if (done) done();
  });
}

void RingDrain::logLosses(bool inTime) {
  const std::string& writer = file_->writerName();
  if (const std::int64_t lost = backlog_.overwrittenFrames(); lost > 0)
    log_.error(fmt::format("{}: {} frames were overwritten before they reached the file", writer, lost));
  if (const std::int64_t missed = backlog_.missedFrames(); missed > 0)
    log_.warning(fmt::format("{}: the audio server left out cycles with {} frames", writer, missed));
  if (!inTime)
    log_.error(
        fmt::format("{}: stopped with {} frames that did not reach the file in time; writing "
                    "continues in the background",
                    writer, backlog_.waitingFrames()));
}

}  // namespace sonmere
