#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "base/RTScalar.h"
#include "dsp/RecorderRing.h"
#include "recording/AudioFileSink.h"
#include "recording/RecorderBacklog.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// Records one bus: the render path fills the ring, a task on a serial queue empties it into a file. One file
// in its life. Main thread, except where said.
class BusRecorder : public std::enable_shared_from_this<BusRecorder> {
 public:
  struct Request {
    int busIndex = 0;
    RecordingFormat format = RecordingFormat::wav;
    double sampleRate = 48000;  // Hz
    std::string name;           // in front of the stamp
    std::string folder;         // exists
    Date sessionDate{};         // the stamp, shared by what began together
  };
  static constexpr const char* kWriterName = "BusRecorder";
  static constexpr const char* kQueueLabel = "sonmere.busrecorder.drain";
  static constexpr const char* kReliefQueueLabel = "sonmere.busrecorder.relief";

  // Makes the file and begins to drain. After an error nothing is left behind.
  static Outcome<std::shared_ptr<BusRecorder>> create(const RecordingContext& context,
                                                      const Request& request);
  ~BusRecorder();

  // Fill it from one render thread at a time, and let go of it before stop().
  const std::shared_ptr<RecorderRing>& ring() const { return ring_; }

  int busIndex() const { return request_.busIndex; }
  RecordingFormat format() const { return request_.format; }
  double sampleRate() const { return request_.sampleRate; }
  // Where the file is, or was before it was gone, as of the last look at it.
  std::string outputPath() const { return sink_->place().path; }
  bool isFileGone() const { return sink_->place().kind == FilePlace::Kind::gone; }
  // Looks at it in the background.
  void checkFile() { sink_->checkPlace(*queue_); }
  Date startedAt() const { return startedAt_; }

  // Counters. Threads: any.
  std::int64_t bytesWritten() const { return bytesWritten_; }
  std::int64_t framesWritten() const { return framesWritten_; }
  bool everHadSignal() const { return everHadSignal_; }
  float lastPeak() const { return lastPeak_; }
  // Frames that wait for the drive, besides those that it is writing.
  std::int64_t framesWaiting() const { return backlog_.untakenFrames(); }
  // Frames that the file lacks: those that the render overwrote before they were drained, always whole rings,
  // and those that nobody rendered because the server left cycles out.
  std::int64_t lostFrames() const { return backlog_.overwrittenFrames() + backlog_.missedFrames(); }

  // A change of the setting during a recording changes what bytesWritten counts, not the file.
  void setCountedBitDepth(RecordingBitDepth depth);

  // Writes what is still waiting, flushes and closes the file; `done` is called on the main queue when that
  // is over. A drive that takes longer than 5 seconds, or 15 more where the sink is queued, is not waited
  // for: the rest is written in the background. The recorder keeps itself alive until then. Once only.
  void stop(Task done);

 private:
  BusRecorder(const RecordingContext& context, const Request& request, std::string outputPath,
              std::shared_ptr<AudioFileWriter> file);

  void startDrain();
  // Drain queue.
  void drain();
  bool makeScratch();
  bool writeBlock();
  void notePeak();
  // Relief queue.
  void relieve();

  void pollStop(Duration deadline, Task done);
  void endDrain(bool inTime, Task done);
  void flushAndClose(Task done);
  void logLosses(bool inTime);

  Runtime& runtime_;
  Log& log_;
  const std::shared_ptr<RecordingHealth> health_;
  const Request request_;
  const std::string outputPath_;
  const Date startedAt_;
  const PCMFormat fileFormat_;
  const std::shared_ptr<RecorderRing> ring_ = std::make_shared<RecorderRing>();
  const std::shared_ptr<AudioFileSink> sink_;
  RecorderBacklog backlog_;
  const std::shared_ptr<Queue> queue_;
  std::shared_ptr<Queue> reliefQueue_;  // null with a queued sink
  TaskToken drainTask_;
  TaskToken reliefTask_;

  // Written by the drain, read by anyone.
  RTScalar<std::int64_t> bytesWritten_;
  RTScalar<std::int64_t> framesWritten_;
  RTScalar<bool> everHadSignal_;
  RTScalar<float> lastPeak_;
  std::atomic<bool> drainEnded_ = false;

  // Written by the main thread, read by the drain.
  RTScalar<std::int64_t> bytesPerFrame_;
  std::atomic<bool> stopRequested_ = false;

  std::optional<PCMBuffer> scratch_;  // drain only
  bool wasOverfull_ = false;          // relief only
};

// Largest magnitude over all channels. A block without frames counts as 1: unknown must pass for signal.
float blockPeak(const PCMBuffer& buffer);

}  // namespace sonmere
