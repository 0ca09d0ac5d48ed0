#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "recording/RatedFileWriter.h"
#include "recording/RecorderBacklog.h"
#include "recording/RecorderFile.h"

namespace sonmere {

// Empties the ring that a render path fills into a recorder's file, every 10 ms on the file's queue, and
// converts what the ring says is of another rate. Where a
// write waits for the drive, a second task saves what the ring holds meanwhile. Main thread, except where
// said.
class RingDrain : public std::enable_shared_from_this<RingDrain> {
 public:
  // Begins at once. One that is let go of without a stop ends where it is.
  static std::shared_ptr<RingDrain> start(const RecordingContext& context, std::shared_ptr<RecorderFile> file,
                                          std::shared_ptr<RecorderRing> ring,
                                          const std::string& reliefQueueLabel);
  ~RingDrain();

  // Frames that wait for the drive, besides those that it is writing. Threads: any.
  std::int64_t framesWaiting() const { return backlog_.untakenFrames(); }
  // Frames that the file lacks: those that the render overwrote before they were drained, always whole rings,
  // those that nobody rendered because the server left cycles out, and those that could not be converted.
  // Threads: any.
  std::int64_t lostFrames() const {
    return backlog_.overwrittenFrames() + backlog_.missedFrames() + writer_.lostFrames();
  }

  // Writes what is still waiting and closes the file; `done` is called on the main queue when that is over. A
  // drive that takes longer than 5 seconds, or what RecorderFile::close says more, is not waited for: the
  // rest is written in the background. Keeps itself alive until then. Once only.
  void stop(Task done);

 private:
  RingDrain(const RecordingContext& context, std::shared_ptr<RecorderFile> file,
            const std::shared_ptr<RecorderRing>& ring);

  void begin(const std::string& reliefQueueLabel);
  // On the file's queue.
  void drain();
  void drainLast();
  bool makeScratch();
  // On the relief queue.
  void relieve();

  void pollStop(Duration deadline, Task done);
  void end(bool inTime, Task done);
  void logLosses(bool inTime);

  Runtime& runtime_;
  Log& log_;
  const std::shared_ptr<RecorderFile> file_;
  RecorderBacklog backlog_;
  std::shared_ptr<Queue> reliefQueue_;  // null with a queued sink
  TaskToken drainTask_;
  TaskToken reliefTask_;

  std::atomic<bool> drainEnded_ = false;     // written by the drain, read by anyone
  std::atomic<bool> stopRequested_ = false;  // written by the main thread, read by the drain

  std::optional<PCMBuffer> scratch_;  // drain only
  RatedFileWriter writer_;            // drain only
  bool hasFailed_ = false;            // drain only
  double rate_;                       // drain only: Hz, of what is taken
  bool wasOverfull_ = false;          // relief only
};

}  // namespace sonmere
