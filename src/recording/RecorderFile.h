#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/RTScalar.h"
#include "recording/AudioFileSink.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingFormat.h"
#include "recording/TakeFileOptions.h"

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
    TakeFileOptions options = {};
    bool isAlwaysWav = false;  // whatever is asked for of the take
  };

  // Where a file goes that was kept in memory so far, and what it is.
  struct Destination {
    std::string folder;  // exists
    Date sessionDate{};
    RecordingFormat format = RecordingFormat::wav;
    TakeFileOptions options = {};
  };

  // Makes the file. After an error nothing is left behind.
  static Outcome<std::shared_ptr<RecorderFile>> create(const RecordingContext& context,
                                                       const Request& request);

  RecordingFormat format() const { return format_; }
  double sampleRate() const { return request_.sampleRate; }
  const std::string& writerName() const { return request_.writerName; }
  const PCMFormat& audio() const { return audio_; }
  Date startedAt() const { return startedAt_; }
  // What it writes into, until that is closed.
  std::shared_ptr<AudioFileWriter> writer() const { return writer_.lock(); }

  // For one that writes into memory (PrerollWriter). Makes the file that it is to become.
  Outcome<std::shared_ptr<AudioFileWriter>> openFile(const RecordingContext& context,
                                                     const Destination& to) const;
  // Goes on in that file, whose first frame is the one of this number since the memory was made.
  void begin(const Destination& to, const std::shared_ptr<AudioFileWriter>& file, std::int64_t first,
             Date startedAt);
  // Where it is, or was before it was gone, as of the last look at it.
  FilePlace place() const { return sink_->place(); }
  FileSpace space() const { return sink_->space(); }
  // Looks at both in the background.
  void check() { sink_->checkPlace(*queue_); }
  // Whether a write waits for the drive.
  bool isDirect() const { return !sink_->isQueued(); }

  // Whether it has the length at which it ends. Threads: any.
  bool isComplete() const { return framesWritten() >= mostFrames_; }

  // Threads: any.
  std::int64_t bytesWritten() const { return bytesWritten_ - bytesBefore_; }
  std::int64_t framesWritten() const { return framesWritten_ - framesBefore_; }
  bool everHadSignal() const { return everHadSignal_; }
  float lastPeak() const { return lastPeak_; }

  // A change of the setting during a recording changes what bytesWritten counts, not the file.
  void setCountedBitDepth(RecordingBitDepth depth);

  // When the first frame was heard.
  void setBegin(Date date);
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
  RecorderFile(const RecordingContext& context, const Request& request,
               std::shared_ptr<AudioFileWriter> file);

  static Outcome<std::shared_ptr<AudioFileWriter>> createWriter(const RecordingContext& context,
                                                                const Request& request);
  RecordingFormat formatFor(const Destination& to) const;
  void notePeak(const PCMBuffer& block);
  bool writeWanted(const PCMBuffer& block);
  static void flushAndClose(const std::shared_ptr<RecorderFile>& file, Task done);

  Runtime& runtime_;
  Log& log_;
  const std::shared_ptr<RecordingHealth> health_;
  const Request request_;
  const PCMFormat audio_;
  // The main thread's.
  RecordingFormat format_;
  std::optional<RecordingBitDepth> depth_;
  Date startedAt_;
  const std::weak_ptr<AudioFileWriter> writer_;  // the sink closes it
  const std::shared_ptr<AudioFileSink> sink_;
  const std::shared_ptr<Queue> queue_;

  // Written on the queue, read by anyone.
  RTScalar<std::int64_t> bytesWritten_;
  RTScalar<std::int64_t> framesWritten_;
  RTScalar<bool> everHadSignal_;
  RTScalar<float> lastPeak_;

  // Written by the main thread, read on the queue.
  RTScalar<std::int64_t> bytesPerFrame_;
  RTScalar<std::int64_t> mostFrames_;
  RTScalar<std::int64_t> framesBefore_, bytesBefore_;  // that were kept in memory, and are not in the file
};

// Largest magnitude over all channels. A block without frames counts as 1: unknown must pass for signal.
float blockPeak(const PCMBuffer& buffer);

}  // namespace sonmere
