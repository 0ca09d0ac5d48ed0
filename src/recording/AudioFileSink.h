#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "recording/RecordingContext.h"

namespace sonmere {

// The one place through which recorders put audio into a file. In the default recordings folder it writes on
// the caller's thread. In any other, which may lie on a slow or sleeping drive, it queues copies and writes
// them on a serial queue of its own, with a bound on how far that queue may lag. One per file.
class AudioFileSink : public std::enable_shared_from_this<AudioFileSink> {
 public:
  static constexpr const char* kQueueLabel = "app.sonmere.recording.disk";
  static constexpr std::int64_t kMaxPendingSeconds = 30;

  // `writerName` is the recorder's, for log lines and failure records.
  static std::shared_ptr<AudioFileSink> create(const RecordingContext& context,
                                               std::shared_ptr<AudioFileWriter> file, std::string writerName,
                                               bool isQueued);

  bool isQueued() const { return isQueued_; }
  std::int64_t maxPendingFrames() const { return maxPendingFrames_; }
  std::int64_t pendingFrames() const;

  // One thread at a time, never a render thread. Queued: the buffer is copied, so the caller may use it again
  // at once. Fails with the file's error, for a queued sink the first one, or with SinkError::queueFull,
  // after which a write that fits succeeds again.
  Outcome<void> write(const PCMBuffer& buffer);

  // Blocks until all that was written before has reached the file, or the timeout or the flush deadline has
  // passed; in that case the writing goes on in the background. Threads: any but a render thread.
  void flush(Duration timeout);
  // The same without blocking; calls `done` on the main queue with whether all was written. Main thread.
  void flushAsync(Duration timeout, std::function<void(bool inTime)> done);

  // Asks what has become of the file, after all queued writes, on the queue that writes: `writerQueue` for a
  // direct sink. Main thread.
  void checkPlace(Queue& writerQueue);
  // What the last look, or the close, has found. Threads: any.
  FilePlace place() const;
  FileSpace space() const;
  // Where it is from now on, as of its beginning. Main thread.
  void setPath(std::string path);

  // Closes the file, after all queued writes, on the sink's own queue or, for a direct sink, on
  // `writerQueue`, the one that calls write. A failure is logged and reported, with `atFrame` for a direct
  // sink. `done` is called on the main queue when that is over or has lasted for `timeout`. Main thread.
  void close(Queue& writerQueue, std::int64_t atFrame, Duration timeout, Task done);

 private:
  struct Wait;

  AudioFileSink(const RecordingContext& context, std::shared_ptr<AudioFileWriter> file,
                std::string writerName, bool isQueued);

  Outcome<void> writeDirectly(const PCMBuffer& buffer);
  Outcome<void> enqueue(std::unique_ptr<PCMBuffer> copy);
  // The drain job: writes until nothing is pending.
  void drain();
  std::unique_ptr<PCMBuffer> takeFirst();
  void fail(const Error& error);
  void closeFile(std::int64_t atFrame);
  void lookAtPlace();

  // Runs `job` on `queue`; `done` on the main queue, once, when it has run or its time is over.
  void runBounded(Queue& queue, Task job, Duration timeout, std::function<void(bool)> done);
  void watchLimit(std::shared_ptr<Wait> wait);
  void logFlushTimeout();

  Runtime& runtime_;
  Log& log_;
  const std::shared_ptr<RecordingHealth> health_;
  const std::shared_ptr<FlushDeadline> flushDeadline_;
  const std::shared_ptr<AudioFileWriter> file_;
  const std::string writerName_;
  const bool isQueued_;
  const std::int64_t maxPendingFrames_;
  const std::shared_ptr<Queue> worker_;  // null for a direct sink

  mutable std::mutex mutex_;  // held for lists and counters, never across a file operation
  std::deque<std::unique_ptr<PCMBuffer>> pending_;
  std::int64_t pendingFrames_ = 0;
  bool drainScheduled_ = false;
  FilePlace place_;
  FileSpace space_;
  bool isLookingAtPlace_ = false;
  bool isClosed_ = false;
  // The first failure: what later queued writes return. For either kind of sink it keeps a failing close,
  // which is then a consequence, from being reported as a failure of its own.
  std::optional<Error> failure_;

  std::int64_t writtenFrames_ = 0;  // drain job only
};

}  // namespace sonmere
