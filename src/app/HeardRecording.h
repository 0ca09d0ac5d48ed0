#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "recording/RecorderFile.h"

namespace sonmere {

// What a device of the embedded server plays, in a file. Main thread.
class HeardRecording {
 public:
  // Interleaved stereo that was played since it was asked last.
  using Source = std::function<std::vector<float>()>;

  static Outcome<std::unique_ptr<HeardRecording>> create(const RecordingContext& context,
                                                         const RecorderFile::Request& request, Source source);

  std::string path() const { return file_->place().path; }
  // Writes what was played since the last time, in the background.
  void take();
  // The same once more, and completes the file; `done` is called when that is over or has lasted too long.
  void stop(Task done);

 private:
  HeardRecording(std::shared_ptr<RecorderFile> file, Source source)
      : file_(std::move(file)), source_(std::move(source)) {}

  const std::shared_ptr<RecorderFile> file_;
  const Source source_;
};

}  // namespace sonmere
