#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "recording/Recorder.h"
#include "recording/SessionStamp.h"

namespace sonmere {

// One act of recording while it begins: its recorders share a folder and a date, which is theirs alone, and
// all of them begin or none. Main thread.
class RecordingTake {
 public:
  // Holds the date against others until it goes.
  RecordingTake(Runtime& runtime, std::string folder)
      : folder_(std::move(folder)), stamp_(runtime, folder_, runtime.wallTime()) {}

  const std::string& folder() const { return folder_; }
  Date date() const { return stamp_.date(); }

  // Takes a recorder in, and gives it back as what it is; or undoes all of the take for the one that could
  // not be made.
  template <class Kind>
  Outcome<std::shared_ptr<Kind>> add(Outcome<std::shared_ptr<Kind>> recorder) {
    if (recorder)
      recorders_.push_back(*recorder);
    else
      undo();
    return recorder;
  }

  // A file that was made for a recorder that is not its own.
  void addFile(std::string path) { files_.push_back(std::move(path)); }
  // Lets go of all recorders and removes all files.
  void undo();

 private:
  const std::string folder_;
  const SessionStamp stamp_;
  std::vector<std::shared_ptr<Recorder>> recorders_;
  std::vector<std::string> files_;
};

}  // namespace sonmere
