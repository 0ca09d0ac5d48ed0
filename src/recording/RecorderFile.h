#pragma once

#include <memory>
#include <string>

#include "base/RTScalar.h"
#include "recording/AudioFileSink.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// The file half of every recorder: a file of a session, with its sink, what is counted of it, and
// whether a signal has come. Main thread, except where said.
class RecorderFile {
 public:
  struct Request {
    std::string writerName;  // of the recorder, in log lines and failure records
    std::string queueLabel;  // of the queue that writes
    RecordingFormat format = RecordingFormat::wav;
    double sampleRate = 48000;   // Hz
    std::string name;            // in front of the stamp
    std::string folder;          // exists
    Date sessionDate{};          // the stamp, shared by what began together
    std::uint32_t channels = 2;  // 1 or 2; 2 of an m4a
  };

  // Makes the file. After an error nothing is left behind.
  static Outcome<std::shared_ptr<RecorderFile>> create(const RecordingContext& context,
                                                       const Request& request);

  RecordingFormat format() const { return request_.format; }
  double sampleRate() const { return request_.sampleRate; }
  const std::string& writerName() const { return request_.writerName; }
  const PCMFormat& audio() const { return audio_; }
  Date startedAt() const { return startedAt_; }
  // Where it is, or was before it was gone, as of the last look at it.
  FilePlace place() const { return sink_->place(); }
  // Looks at it in the background.
  void check() { sink_->checkPlace(*queue_); }
  // Whether a write waits for the drive.
  bool isDirect() const { return !sink_->isQueued(); }

  // Threads: any.
  std::int64_t bytesWritten() const { return bytesWritten_; }
  std::int64_t framesWritten() const { return framesWritten_; }
  bool everHadSignal() const { return everHadSignal_; }
  float lastPeak() const { return lastPeak_; }

  // A change of the setting during a recording changes what bytesWritten counts, not the file.
  void setCountedBitDepth(RecordingBitDepth depth);

  // Marks a frame of the file; it stands there once the file is complete, where its format holds marks.
  void mark(std::int64_t frame, const std::string& text);

  // The serial queue on which all is written. Threads: any.
  Queue& queue() { return *queue_; }
  // False once the file can't go on, which is logged and reported. On `queue`.
  bool write(const PCMBuffer& block);
  // Logs and reports what keeps audio out of the file. Threads: any.
  void report(const Error& error, const std::string& what) const;
  // Reports that more waits for the drive than there is room for. Threads: any.
  void reportOverfull() const;

  // Ends what `queue` has begun, and closes; `done` is called on the main queue when that is over, or has
  // lasted too long: for 15 seconds, or where a stop was late already (`inTime`) at once. A queued sink is
  // flushed before, for 15 seconds at most.
  static void close(const std::shared_ptr<RecorderFile>& file, bool inTime, Task done);

 private:
  RecorderFile(const RecordingContext& context, const Request& request, std::string path,
               std::shared_ptr<AudioFileWriter> file);

  void notePeak(const PCMBuffer& block);
  static void flushAndClose(const std::shared_ptr<RecorderFile>& file, Task done);

  Runtime& runtime_;
  Log& log_;
  const std::shared_ptr<RecordingHealth> health_;
  const Request request_;
  const std::string path_;
  const Date startedAt_;
  const PCMFormat audio_;
  const std::weak_ptr<AudioFileWriter> writer_;  // the sink closes it
  const std::shared_ptr<AudioFileSink> sink_;
  const std::shared_ptr<Queue> queue_;

  // Written on the queue, read by anyone.
  RTScalar<std::int64_t> bytesWritten_;
  RTScalar<std::int64_t> framesWritten_;
  RTScalar<bool> everHadSignal_;
  RTScalar<float> lastPeak_;

  RTScalar<std::int64_t> bytesPerFrame_;  // written by the main thread, read on the queue
};

// Largest magnitude over all channels. A block without frames counts as 1: unknown must pass for signal.
float blockPeak(const PCMBuffer& buffer);

}  // namespace sonmere
