#pragma once

#include <memory>
#include <string>

#include "recording/RecorderFile.h"

namespace sonmere {

// What records one file in its life, from whatever it hears: what a take, the rows of a list and the watch
// over recordings know of it. Main thread, except where said.
class Recorder {
 public:
  virtual ~Recorder() = default;
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  const std::shared_ptr<RecorderFile>& file() const { return file_; }
  RecordingFormat format() const { return file_->format(); }
  double sampleRate() const { return file_->sampleRate(); }
  Date startedAt() const { return file_->startedAt(); }
  // Where the file is, or was before it was gone, as of the last look at it.
  std::string outputPath() const { return file_->place().path; }
  bool isFileGone() const { return file_->place().kind == FilePlace::Kind::gone; }
  // Looks at it in the background.
  void checkFile() { file_->check(); }
  void setCountedBitDepth(RecordingBitDepth depth) { file_->setCountedBitDepth(depth); }

  // As of the last look at it.
  FileSpace space() const { return file_->space(); }
  bool isComplete() const { return file_->isComplete(); }

  void setBegin(Date date) { file_->setBegin(date); }
  void mark(std::int64_t frame, const std::string& text) { file_->mark(frame, text); }

  // Counters. Threads: any.
  std::int64_t bytesWritten() const { return file_->bytesWritten(); }
  std::int64_t framesWritten() const { return file_->framesWritten(); }
  bool everHadSignal() const { return file_->everHadSignal(); }
  float lastPeak() const { return file_->lastPeak(); }
  // Frames that wait for the drive, besides those that it is writing.
  virtual std::int64_t framesWaiting() const = 0;
  // Frames that the file lacks.
  virtual std::int64_t lostFrames() const = 0;

  // Completes the file, in bounded time; `done` is called on the main queue when that is over. Needs nobody
  // to keep the recorder until then. Once only.
  virtual void stop(Task done) = 0;

 protected:
  explicit Recorder(std::shared_ptr<RecorderFile> file) : file_(std::move(file)) {}

 private:
  const std::shared_ptr<RecorderFile> file_;
};

}  // namespace sonmere
